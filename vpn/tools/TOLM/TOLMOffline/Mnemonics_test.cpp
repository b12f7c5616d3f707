#include "vpn/tools/TOLM/TOLMOffline/Mnemonics.h"

#include <gtest/gtest.h>

namespace halvo {
namespace {

std::string marked(Mnemonics& letters, const char* title, char latin = 'X') {
  return letters.mark(QString::fromUtf8(title), QLatin1Char(latin)).toStdString();
}

TEST(MnemonicsTest, FirstLetterOfAWordIsTakenWhereItIsFree) {
  Mnemonics letters;

  EXPECT_EQ(marked(letters, "Enable Bundle Encryption"), "&Enable Bundle Encryption");
  EXPECT_EQ(marked(letters, "Encryption Password"), "Encryption &Password");
}

TEST(MnemonicsTest, AnyLetterIsTakenWhereNoFirstOneIsFree) {
  Mnemonics letters;
  marked(letters, "Run");

  EXPECT_EQ(marked(letters, "run"), "r&un");
  EXPECT_EQ(marked(letters, "Run"), "Ru&n");
  EXPECT_EQ(marked(letters, "Run"), "Run");
}

TEST(MnemonicsTest, OwnAmpersandsAreDoubledBeforeAndBehindTheLetter) {
  Mnemonics letters;

  EXPECT_EQ(marked(letters, "& a & b"), "&& &a && b");
}

TEST(MnemonicsTest, TitlesOfScriptsWithoutKeysGetALatinLetterBehindThem) {
  Mnemonics letters;

  EXPECT_EQ(marked(letters, "\xe5\xae\x9f\xe8\xa1\x8c", 'R'), "\xe5\xae\x9f\xe8\xa1\x8c(&R)");
  EXPECT_EQ(marked(letters, "\xec\x8b\xa4\xed\x96\x89", 'R'), "\xec\x8b\xa4\xed\x96\x89(&A)");
  EXPECT_EQ(marked(letters, "\xe3\x82\xad & TOLM", 'C'), "\xe3\x82\xad && TOLM(&C)");
}

TEST(MnemonicsTest, ArabicLettersAreOnKeys) {
  Mnemonics letters;

  EXPECT_EQ(marked(letters, "\xd8\xa5\xd9\x84\xd8\xba\xd8\xa7\xd8\xa1"),
            "&\xd8\xa5\xd9\x84\xd8\xba\xd8\xa7\xd8\xa1");
}

TEST(MnemonicsTest, TitleWithoutLettersAndAnEmptyOneHaveNone) {
  Mnemonics letters;

  EXPECT_EQ(marked(letters, ""), "");
  EXPECT_EQ(marked(letters, "... \xf0\x9f\x94\x91 !"), "... \xf0\x9f\x94\x91 !");
}

}  // namespace
}  // namespace halvo
