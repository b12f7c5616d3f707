#include "vpn/Common/Utility/StringUtils.h"

#include <gtest/gtest.h>

#include <string_view>
#include <type_traits>

namespace halvo {

namespace {

using Pieces = std::vector<std::string>;

TEST(StringUtilsTest, ClassHasAVirtualDestructor) {
  EXPECT_TRUE(std::has_virtual_destructor_v<CStringUtils>);
}

TEST(StringUtilsTest, ToLowerChangesAsciiLettersAndLeavesOtherBytes) {
  EXPECT_EQ(CStringUtils::toLower("AbC.LoG_09"), "abc.log_09");
  EXPECT_EQ(CStringUtils::toLower("\xC3\x84\xFF"), "\xC3\x84\xFF");
  EXPECT_EQ(CStringUtils::toLower(std::string("A\0B", 3)), std::string("a\0b", 3));
  EXPECT_EQ(CStringUtils::toLower(""), "");
}

TEST(StringUtilsTest, TrimRightOfLineEndsOnlyKeepsTheBlankBeforeThem) {
  EXPECT_EQ(CStringUtils::trimRight("text \n", true), "text ");
  EXPECT_EQ(CStringUtils::trimRight("text\t\r\n\n\r", true), "text\t");
  EXPECT_EQ(CStringUtils::trimRight("text \v\f", true), "text \v\f");
}

TEST(StringUtilsTest, TrimRightDropsTheWholeWhiteSpaceSet) {
  EXPECT_EQ(CStringUtils::trimRight(" text \t\f\v\n\r", false), " text");
  EXPECT_EQ(CStringUtils::trimRight("text", false), "text");
}

TEST(StringUtilsTest, TrimRightOfNothingElseYieldsTheEmptyText) {
  EXPECT_EQ(CStringUtils::trimRight(" \t\f\v\n\r", false), "");
  EXPECT_EQ(CStringUtils::trimRight("\r\n", true), "");
  EXPECT_EQ(CStringUtils::trimRight("", false), "");
  EXPECT_EQ(CStringUtils::trimRight("", true), "");
}

TEST(StringUtilsTest, TrimLeftDropsTheWholeWhiteSpaceSet) {
  EXPECT_EQ(CStringUtils::trimLeft(" \t\f\v\n\rtext "), "text ");
  EXPECT_EQ(CStringUtils::trimLeft(" \t"), "");
  EXPECT_EQ(CStringUtils::trimLeft(""), "");
}

TEST(StringUtilsTest, TrimDropsBothEndsAndKeepsTheMiddle) {
  EXPECT_EQ(CStringUtils::trim("\r\n two words\t\n"), "two words");
  EXPECT_EQ(CStringUtils::trim("  "), "");
}

TEST(StringUtilsTest, WildcardMatchOfASuffixIsCaseSensitive) {
  EXPECT_TRUE(CStringUtils::wildcardMatch("abc.log", "*.log"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("abc.log", "*.LOG"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("abc.log", "a*c*g"));
}

TEST(StringUtilsTest, WildcardMatchWithoutAStarComparesTheWholeText) {
  EXPECT_TRUE(CStringUtils::wildcardMatch("abc", "abc"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("abc", "abd"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("abc", "ab"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("ab", "abc"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("", ""));
  EXPECT_FALSE(CStringUtils::wildcardMatch("a", ""));
  EXPECT_FALSE(CStringUtils::wildcardMatch("", "a"));
}

TEST(StringUtilsTest, WildcardMatchTakesAQuestionMarkForItself) {
  EXPECT_FALSE(CStringUtils::wildcardMatch("abc", "a?c"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("a?c", "a?c"));
}

TEST(StringUtilsTest, WildcardStarMatchesNothingAndEverything) {
  EXPECT_TRUE(CStringUtils::wildcardMatch("", "*"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("", "***"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("abc", "*"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("abc", "abc*"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("abc", "abc**"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("abc", "ab**c"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("", "*a"));
}

TEST(StringUtilsTest, WildcardPieceInTheMiddleIsFoundAtItsFirstPlace) {
  EXPECT_TRUE(CStringUtils::wildcardMatch("one-two-three", "one*two*three"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("one-three", "one*two*three"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("xabyabz", "*ab*z"));
  EXPECT_TRUE(CStringUtils::wildcardMatch("abab", "*ab*"));
}

TEST(StringUtilsTest, WildcardLastPieceStandsAtTheEndAndNotOnWhatIsMatched) {
  EXPECT_TRUE(CStringUtils::wildcardMatch("abcbc", "a*bc"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("abcd", "a*bc"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("aba", "ab*ba"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("c", "a*bc"));
  EXPECT_FALSE(CStringUtils::wildcardMatch("ab", "ab*b"));
}

// What a pattern means, by its definition alone: slow, and plain to see through.
bool matchesByDefinition(std::string_view text, std::string_view pattern) {
  if (pattern.empty()) {
    return text.empty();
  }
  if (pattern.front() == '*') {
    return matchesByDefinition(text, pattern.substr(1)) ||
           (!text.empty() && matchesByDefinition(text.substr(1), pattern));
  }
  return !text.empty() && text.front() == pattern.front() &&
         matchesByDefinition(text.substr(1), pattern.substr(1));
}

// All texts over `letters` of up to `length` characters.
std::vector<std::string> allTexts(const std::string& letters, std::size_t length) {
  std::vector<std::string> texts = {""};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (texts[i].size() < length) {
      for (const char letter : letters) {
        texts.push_back(texts[i] + letter);
      }
    }
  }
  return texts;
}

TEST(StringUtilsTest, WildcardMatchAgreesWithItsDefinitionOnEveryShortPattern) {
  const std::vector<std::string> texts = allTexts("ab", 6);
  for (const std::string& pattern : allTexts("ab*", 5)) {
    for (const std::string& text : texts) {
      ASSERT_EQ(CStringUtils::wildcardMatch(text, pattern), matchesByDefinition(text, pattern))
          << "text " << text << ", pattern " << pattern;
    }
  }
}

TEST(StringUtilsTest, FormatTextIsCutTo1023Characters) {
  EXPECT_EQ(CStringUtils::formatText("%s=%d", "a", 7), "a=7");
  EXPECT_EQ(CStringUtils::formatText("%s", ""), "");
  const std::string whole(1023, 'x');
  EXPECT_EQ(CStringUtils::formatText("%s", whole.c_str()), whole);
  EXPECT_EQ(CStringUtils::formatText("%sy", whole.c_str()), whole);
  EXPECT_EQ(CStringUtils::formatText("%s", std::string(100000, 'x').c_str()), whole);
}

TEST(StringUtilsTest, StartsWithAndEndsWithAreCaseSensitiveAndMatchTheEmptyText) {
  EXPECT_TRUE(CStringUtils::startsWith("abc", "ab"));
  EXPECT_TRUE(CStringUtils::startsWith("abc", "abc"));
  EXPECT_FALSE(CStringUtils::startsWith("abc", "AB"));
  EXPECT_FALSE(CStringUtils::startsWith("abc", "abcd"));
  EXPECT_TRUE(CStringUtils::startsWith("abc", ""));
  EXPECT_TRUE(CStringUtils::startsWith("", ""));
  EXPECT_TRUE(CStringUtils::endsWith("abc", "bc"));
  EXPECT_TRUE(CStringUtils::endsWith("abc", "abc"));
  EXPECT_FALSE(CStringUtils::endsWith("abc", "BC"));
  EXPECT_FALSE(CStringUtils::endsWith("abc", "zabc"));
  EXPECT_TRUE(CStringUtils::endsWith("abc", ""));
  EXPECT_TRUE(CStringUtils::endsWith("", ""));
}

TEST(StringUtilsTest, ReplaceAllGoesLeftToRightAndDoesNotLookAtWhatItPutIn) {
  EXPECT_EQ(CStringUtils::replaceAll("a.b.c", ".", "--"), "a--b--c");
  EXPECT_EQ(CStringUtils::replaceAll("aaa", "aa", "a"), "aa");
  EXPECT_EQ(CStringUtils::replaceAll("xx", "x", "xx"), "xxxx");
  EXPECT_EQ(CStringUtils::replaceAll("abc", "b", ""), "ac");
  EXPECT_EQ(CStringUtils::replaceAll("abc", "z", "y"), "abc");
}

TEST(StringUtilsTest, ReplaceAllWithAnEmptySearchOrTextReturnsTheText) {
  EXPECT_EQ(CStringUtils::replaceAll("abc", "", "x"), "abc");
  EXPECT_EQ(CStringUtils::replaceAll("", "a", "x"), "");
  EXPECT_EQ(CStringUtils::replaceAll("", "", "x"), "");
}

TEST(StringUtilsTest, SplitKeepsEmptyPiecesAndGivesOneAtLeast) {
  EXPECT_EQ(CStringUtils::split("a,b,c", ','), (Pieces{"a", "b", "c"}));
  EXPECT_EQ(CStringUtils::split(",a,,b,", ','), (Pieces{"", "a", "", "b", ""}));
  EXPECT_EQ(CStringUtils::split("abc", ','), (Pieces{"abc"}));
  EXPECT_EQ(CStringUtils::split("", ','), (Pieces{""}));
  EXPECT_EQ(CStringUtils::split(",", ','), (Pieces{"", ""}));
}

}  // namespace

}  // namespace halvo
