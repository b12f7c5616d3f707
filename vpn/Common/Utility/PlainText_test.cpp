#include "vpn/Common/Utility/PlainText.h"

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(PlainTextTest, ControlCharactersBecomeTheirNumbers) {
  EXPECT_EQ(withoutControls("a\n\x1b[31m\x7f" + std::string("\0", 1) + "b"), "a\\x0a\\x1b[31m\\x7f\\x00b");
}

TEST(PlainTextTest, ControlCharactersOfTwoBytesBecomeTheirNumbers) {
  EXPECT_EQ(withoutControls("\xc2\x9b"), "\\xc2\\x9b");
  EXPECT_EQ(withoutControls("\xc2"), "\\xc2");
}

TEST(PlainTextTest, ControlCharactersThatJsonBearsBecomeItsEscapes) {
  EXPECT_EQ(jsonWithoutControls("\"a\x7f\xc2\x9b\xc2\xa0\xc3\xa4\\n\"\n"),
            "\"a\\u007f\\u009b\xc2\xa0\xc3\xa4\\n\"\n");
}

TEST(PlainTextTest, ControlCharactersThatXmlBearsBecomeItsReferences) {
  EXPECT_EQ(xmlWithoutControls("<a b=\"\x7f\xc2\x9b\xc2\xa0\xc3\xa4\n\"/>\n"),
            "<a b=\"&#127;&#155;\xc2\xa0\xc3\xa4\n\"/>\n");
}

TEST(PlainTextTest, CharactersThatTurnTheDirectionStandInNoJsonAndXml) {
  const std::string text =
      "\xd8\x9b\xd8\x9c\xe2\x80\x8d\xe2\x80\x8e\xe2\x80\x8f\xe2\x80\xa9\xe2\x80\xaa\xe2\x80\xae\xe2\x80\xaf"
      "\xe2\x81\xa5\xe2\x81\xa6\xe2\x81\xa9\xe2\x81\xaa\xf0\x9f\x98\x80\xe2";
  EXPECT_EQ(jsonWithoutControls(text),
            "\xd8\x9b\\u061c\xe2\x80\x8d\\u200e\\u200f\xe2\x80\xa9\\u202a\\u202e\xe2\x80\xaf"
            "\xe2\x81\xa5\\u2066\\u2069\xe2\x81\xaa\xf0\x9f\x98\x80\xe2");
  EXPECT_EQ(xmlWithoutControls("a\xe2\x80\xae"
                               "b\xd8\x9c"),
            "a&#8238;b&#1564;");
}

TEST(PlainTextTest, OtherCharactersStayAsTheyAre) {
  const std::string text = "\xc3\xa4 \xc2\xa0 \xe4\xbd\xa0 \xe2\x80\xa9 \xe2\x81\xaa \xf0\x9f\x98\x80 \"\\";
  EXPECT_EQ(withoutControls(text), text);
}

// A terminal that doesn't know of UTF-8 obeys such bytes.
TEST(PlainTextTest, BytesThatAreNoCharactersBecomeTheirNumbers) {
  EXPECT_EQ(withoutControls("\x9b"
                            "2J \xff \xe4\xbd"),
            "\\x9b2J \\xff \\xe4\\xbd");
  EXPECT_EQ(withoutControls("\xc0\x9b \xe0\x82\x9b \xed\xa0\x80 \xf4\x90\x80\x80"),
            "\\xc0\\x9b \\xe0\\x82\\x9b \\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80");
}

// "txt.exe" could be made to look like "exe.txt".
TEST(PlainTextTest, CharactersThatTurnTheDirectionBecomeTheirNumbers) {
  EXPECT_EQ(withoutControls("a\xe2\x80\xae"
                            "b\xe2\x81\xa6\xe2\x80\x8f\xd8\x9c"),
            "a\\xe2\\x80\\xaeb\\xe2\\x81\\xa6\\xe2\\x80\\x8f\\xd8\\x9c");
}

TEST(PlainTextTest, LongTextsAreCutBehindAWholeCharacter) {
  EXPECT_EQ(quotedText("short\n"), "\"short\\x0a\"");
  EXPECT_EQ(quotedText(std::string(60, 'x')), "\"" + std::string(60, 'x') + "\"");
  EXPECT_EQ(quotedText(std::string(61, 'x')), "\"" + std::string(60, 'x') + "...\"");
  EXPECT_EQ(quotedText(std::string(59, 'x') + "\xc3\xa4"), "\"" + std::string(59, 'x') + "...\"");
}

}  // namespace
}  // namespace halvo
