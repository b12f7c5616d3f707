#include "vpn/Common/Utility/PlainText.h"

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(PlainTextTest, ControlCharactersBecomeTheirNumbers) {
  EXPECT_EQ(withoutControls("a\n\x1b[31m\x7f" + std::string("\0", 1) + "b"), "a\\x0a\\x1b[31m\\x7f\\x00b");
}

TEST(PlainTextTest, ControlCharactersOfTwoBytesBecomeTheirNumbers) {
  EXPECT_EQ(withoutControls("\xc2\x9b"), "\\xc2\\x9b");
  EXPECT_EQ(withoutControls("\xc2"), "\xc2");
}

TEST(PlainTextTest, ControlCharactersThatJsonBearsBecomeItsEscapes) {
  EXPECT_EQ(jsonWithoutControls("\"a\x7f\xc2\x9b\xc2\xa0\xc3\xa4\\n\"\n"),
            "\"a\\u007f\\u009b\xc2\xa0\xc3\xa4\\n\"\n");
}

TEST(PlainTextTest, ControlCharactersThatXmlBearsBecomeItsReferences) {
  EXPECT_EQ(xmlWithoutControls("<a b=\"\x7f\xc2\x9b\xc2\xa0\xc3\xa4\n\"/>\n"),
            "<a b=\"&#127;&#155;\xc2\xa0\xc3\xa4\n\"/>\n");
}

TEST(PlainTextTest, OtherBytesStayAsTheyAre) {
  EXPECT_EQ(withoutControls("\xc3\xa4 \xc2\xa0 \xff \"\\"), "\xc3\xa4 \xc2\xa0 \xff \"\\");
}

TEST(PlainTextTest, LongTextsAreCutBehindAWholeCharacter) {
  EXPECT_EQ(quotedText("short\n"), "\"short\\x0a\"");
  EXPECT_EQ(quotedText(std::string(60, 'x')), "\"" + std::string(60, 'x') + "\"");
  EXPECT_EQ(quotedText(std::string(61, 'x')), "\"" + std::string(60, 'x') + "...\"");
  EXPECT_EQ(quotedText(std::string(59, 'x') + "\xc3\xa4"), "\"" + std::string(59, 'x') + "...\"");
}

}  // namespace
}  // namespace halvo
