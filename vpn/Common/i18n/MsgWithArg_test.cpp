#include "vpn/Common/i18n/MsgWithArg.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace halvo {
namespace {

std::string formatted(const std::string& key, const std::vector<std::string>& arguments = {}) {
  MsgWithArg message(key);
  for (const std::string& argument : arguments) {
    message.addArgument(argument);
  }
  std::string out = "left over";
  message.format(out, false);
  return out;
}

TEST(MsgWithArgTest, ArgumentsFillThePlaceholdersInOrder) {
  EXPECT_EQ(formatted("Hello %s and %s", {"a", "b"}), "Hello a and b");
}

TEST(MsgWithArgTest, PositionsPickTheirArguments) {
  EXPECT_EQ(formatted("%2$s before %1$s", {"a", "b"}), "b before a");
  EXPECT_EQ(formatted("%1$s %1$s", {"a", "b"}), "a a");
}

TEST(MsgWithArgTest, NumberPlaceholderTakesAText) {
  EXPECT_EQ(formatted("%d files", {"3"}), "3 files");
  EXPECT_EQ(formatted("%u files", {"many"}), "many files");
  EXPECT_EQ(formatted("%2$d of %1$u", {"a", "b"}), "b of a");
}

TEST(MsgWithArgTest, MissingArgumentIsEmpty) {
  EXPECT_EQ(formatted("%s and %s", {"a"}), "a and ");
}

TEST(MsgWithArgTest, PercentSignWithoutArgumentsIsntTouched) {
  EXPECT_EQ(formatted("100%"), "100%");
  EXPECT_EQ(formatted("%d of %s, 100%%"), "%d of %s, 100%%");
}

TEST(MsgWithArgTest, DoubledPercentSignIsAPlaceholderToo) {
  EXPECT_EQ(formatted("100%% of %s", {"a", "b"}), "100a of b");
  EXPECT_EQ(formatted("%%s", {"a"}), "as");
}

TEST(MsgWithArgTest, PercentSignAtTheEndStaysWithArguments) {
  EXPECT_EQ(formatted("%s 100%", {"a"}), "a 100%");
  EXPECT_EQ(formatted("%", {"a"}), "%");
}

TEST(MsgWithArgTest, DigitsUpToTheEndLoseTheLastOne) {
  // "%12" becomes "%1s": a width of one.
  EXPECT_EQ(formatted("x%12", {"abc"}), "xabc");
  EXPECT_EQ(formatted("x%1$", {"abc"}), "xabc");
  EXPECT_EQ(formatted("x%3", {"abc"}), "xabc");
}

TEST(MsgWithArgTest, PlaceholdersWithAPositionDontCount) {
  EXPECT_EQ(formatted("%2$s %s %s", {"a", "b"}), "b a b");
}

TEST(MsgWithArgTest, CharacterBehindThePercentSignIsReplacedWhateverItIs) {
  EXPECT_EQ(formatted("50% off", {"a"}), "50aoff");
  EXPECT_EQ(formatted("%.2f", {"a"}), "a2f");
  EXPECT_EQ(formatted("%ld", {"a"}), "ad");
  EXPECT_EQ(formatted("%n", {"a"}), "a");
}

TEST(MsgWithArgTest, WidthIsKept) {
  EXPECT_EQ(formatted("[%5d]", {"3"}), "[    3]");
  EXPECT_EQ(formatted("[%05d]", {"3"}), "[    3]");
  EXPECT_EQ(formatted("[%2$4d]", {"3", "ab"}), "[  ab]");
  EXPECT_EQ(formatted("[%2d]", {"longer"}), "[longer]");
  EXPECT_EQ(formatted("[%2d%2d]", {"1", "2"}), "[ 1 2]");
}

TEST(MsgWithArgTest, TenArgumentsAreUsedAndTheRestIsDropped) {
  const std::vector<std::string> arguments = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"};
  EXPECT_EQ(formatted("%s%s%s%s%s%s%s%s%s%s|%s", arguments), "abcdefghij|");
  EXPECT_EQ(formatted("%10$s", arguments), "j");
  EXPECT_EQ(formatted("%11$s.", arguments), ".");
  EXPECT_EQ(formatted("%4294967297$s.", arguments), ".");
}

TEST(MsgWithArgTest, WhatIsNoPlaceholderStandsAsItIsWritten) {
  EXPECT_EQ(formatted("%0$d", {"a"}), "%0$s");
  EXPECT_EQ(formatted("%$d", {"a"}), "%$s");
  EXPECT_EQ(formatted("%1$2$d", {"a"}), "%1$2$s");
}

TEST(MsgWithArgTest, ResultIsCutAtItsBuffer) {
  EXPECT_EQ(formatted("%s", {std::string(3000, 'x')}), std::string(2047, 'x'));
  EXPECT_EQ(formatted("%s", {std::string(2047, 'x')}), std::string(2047, 'x'));
  EXPECT_EQ(formatted(std::string(3000, 'y'), {"a"}), std::string(2047, 'y'));
  EXPECT_EQ(formatted("%99999999999999999999d", {"a"}), std::string(2047, ' '));
  EXPECT_EQ(formatted("%2047d", {"a"}), std::string(2046, ' ') + "a");
  EXPECT_EQ(formatted("%2048d", {"a"}), std::string(2047, ' '));
}

TEST(MsgWithArgTest, WithoutArgumentsNothingIsCut) {
  EXPECT_EQ(formatted(std::string(3000, 'y')), std::string(3000, 'y'));
}

TEST(MsgWithArgTest, PlaceholdersInArgumentsStay) {
  EXPECT_EQ(formatted("%s %s", {"%s", "%1$s"}), "%s %1$s");
}

TEST(MsgWithArgTest, TextsEndAtTheirFirstZero) {
  EXPECT_EQ(formatted("<%s>", {std::string("a\0b", 3)}), "<a>");
}

TEST(MsgWithArgTest, CharacterReferencesAreDecoded) {
  EXPECT_EQ(formatted("a&#38;b"), "a&b");
  EXPECT_EQ(formatted("a&#x26;b"), "a&b");
  EXPECT_EQ(formatted("a&#X26;b"), "a&b");
  EXPECT_EQ(formatted("&#x4a;&#x4A;"), "JJ");
  EXPECT_EQ(formatted("&#x6f;&#x6F;"), "oo");
  EXPECT_EQ(formatted("&#60;%s&#62;", {"a&#38;b"}), "<a&b>");
}

TEST(MsgWithArgTest, OneBadReferenceLeavesTheWholeTextUndecoded) {
  EXPECT_EQ(formatted("a&#38;b&#zz;"), "a&#38;b&#zz;");
  EXPECT_EQ(formatted("a&#38;b&#3 8;"), "a&#38;b&#3 8;");
  EXPECT_EQ(formatted("a&#38;b&#2A;"), "a&#38;b&#2A;");
  EXPECT_EQ(formatted("a&#38;b&#xg;"), "a&#38;b&#xg;");
  EXPECT_EQ(formatted("a&#38;b&#-1;"), "a&#38;b&#-1;");
  EXPECT_EQ(formatted("a&#38;b&#x;c"), "a&#38;b&#x;c");
  EXPECT_EQ(formatted("a&#38;b&#;c"), "a&#38;b&#;c");
}

TEST(MsgWithArgTest, ReferenceWithoutSemicolonStays) {
  EXPECT_EQ(formatted("&#38"), "&#38");
  EXPECT_EQ(formatted("a&#38;b&#38"), "a&b&#38");
}

TEST(MsgWithArgTest, ReferenceWithFewerThanTwoCharactersLeftStays) {
  EXPECT_EQ(formatted("a&#38;b&#;"), "a&b&#;");
  EXPECT_EQ(formatted("a&#38;b&#"), "a&b&#");
}

TEST(MsgWithArgTest, ReferenceGivesTheLowEightBitsOfItsNumber) {
  EXPECT_EQ(formatted("&#321;"), "A");
  EXPECT_EQ(formatted("&#x141;"), "A");
  EXPECT_EQ(formatted("&#x100000000000000000041;"), "A");
  EXPECT_EQ(formatted("&#228;"), "\xe4");
  EXPECT_EQ(formatted("a&#256;b"), std::string("a\0b", 3));
}

TEST(MsgWithArgTest, WhatAReferenceYieldsCanBePartOfTheNextOne) {
  EXPECT_EQ(formatted("&#38;#38;#65;"), "A");
  EXPECT_EQ(formatted("&&#35;65;"), "A");
}

// A text as long as a language file: a pass over the whole of it for each of its parts would take
// minutes, which ends the test.
TEST(MsgWithArgTest, TextOfAMebibyteOfPlaceholdersEnds) {
  std::string key;
  for (int i = 0; i < 0x80000; ++i) {
    key += "%s";
  }
  EXPECT_EQ(formatted(key, {"a", "b"}), "ab");
}

TEST(MsgWithArgTest, TextOfAMebibyteOfReferencesIsDecoded) {
  constexpr int kReferences = 0x100000 / 5;
  std::string key;
  for (int i = 0; i < kReferences; ++i) {
    key += "&#65;";
  }
  EXPECT_EQ(formatted(key), std::string(kReferences, 'A'));
  // Each reference yields the beginning of the next one.
  std::string chain = "&";
  for (int i = 0; i < kReferences; ++i) {
    chain += "#38;";
  }
  EXPECT_EQ(formatted(chain), "&");
}

TEST(MsgWithArgTest, EmptyKeyGivesTheEmptyText) {
  EXPECT_EQ(formatted("", {"a"}), "");
  EXPECT_TRUE(MsgWithArg("").isEmpty());
}

TEST(MsgWithArgTest, KeyAndArgumentsAreSetInBothForms) {
  MsgWithArg message("");
  message.setKey("%s%s%s");
  EXPECT_FALSE(message.isEmpty());
  EXPECT_EQ(message.getKey(), "%s%s%s");
  message.addArgument("a");
  message.addArgument(std::string("b"));
  message.addArgument(nullptr);
  std::string out;
  message.format(out, false);
  EXPECT_EQ(out, "ab");
}

}  // namespace
}  // namespace halvo
