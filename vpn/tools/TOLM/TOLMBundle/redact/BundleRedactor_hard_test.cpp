// Bundles that redaction has a hard time with: rules that touch what it goes by itself, damage, many names.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactBundle_test.h"

namespace halvo {
namespace {

using test::BundleTexts;
using test::kTestKey;
using test::makeBundle;
using test::readBundle;
using test::row;
using test::summaryOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

class HardBundleTest : public testing::Test {
 protected:
  // The texts of the redacted bundle.
  BundleTexts redacted(const BundleTexts& texts, RedactOptions options = {}) {
    makeBundle(m_temp.file("in.zip"), texts);
    options.outPath = m_temp.file("out.zip");
    StandIns standIns(kTestKey);
    EXPECT_EQ("", test::redactBundle(m_temp.file("in.zip"), options, standIns));
    return readBundle(options.outPath);
  }

  test::TempFolder m_temp;
};

// The label in front of the user was cut off by its length, wherever it was.
TEST_F(HardBundleTest, ARuleThatTouchesTheLabelOfTheSummarysUserReplacesTheUserAlone) {
  for (const auto& [text, user] : {std::pair("find secret .*", "REDACTED"),
                                   {"find user .+", "user-.{10}"},
                                   {"find host User Name", "user-.{10}"},
                                   {"name user User", "user-.{10}"},
                                   {"keep jane.doe", "jane\\.doe"}}) {
    RedactRules rules;
    ASSERT_EQ("", rules.load(text));
    RedactOptions options;
    options.rules = &rules;
    const BundleTexts texts = redacted({{"summary.txt", summaryOf({row("a", "a.log", "1 bytes")})}}, options);
    const Summary summary = readSummary(texts[0].second);
    EXPECT_EQ("", summary.fault) << text;
    EXPECT_THAT(summary.user, MatchesRegex(user)) << text;
  }
}

TEST_F(HardBundleTest, EveryCellOfTheSummaryIsRedacted) {
  RedactRules rules;
  ASSERT_EQ("", rules.load("find id 10:42:\nfind id 12345\n"));
  RedactOptions options;
  options.rules = &rules;
  const BundleTexts texts =
      redacted({{"summary.txt", summaryOf({row("a", "none.log", "12345 bytes")})}}, options);
  const Summary summary = readSummary(texts[0].second);
  EXPECT_THAT(summary.time, MatchesRegex("Sun Mar 15 id-.{10}07 2026"));
  EXPECT_THAT(summary.sections[0].included[0].last, Not(HasSubstr("12345")));
}

TEST_F(HardBundleTest, NumberedFoldersStayFolders) {
  const BundleTexts texts =
      redacted({{"home/jane.doe/", ""}, {"home/Jane.Doe/", ""}, {"a", "/home/jane.doe"}});
  EXPECT_THAT(texts[0].first, MatchesRegex("home/user-.{10}/"));
  EXPECT_THAT(texts[1].first, MatchesRegex("home/user-.{10}-2/"));
}

// Nothing had looked at its checksum: its packed bytes are copied.
TEST_F(HardBundleTest, ADamagedFileThatIsKeptThoughNoTextIsLeftOutAndListed) {
  const std::string binary = std::string(200000, 'a') + std::string(1, '\0') + std::string(200000, 'b');
  makeBundle(m_temp.file("whole.zip"), {{"core", binary}, {"a.log", "x"}});
  std::string bytes = test::readFile(m_temp.file("whole.zip"));
  const std::size_t at = bytes.find("a.log") - 60;  // the packed end of the file in front
  bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
  test::writeFile(m_temp.file("hurt.zip"), bytes);
  RedactOptions options;
  options.keepBinary = true;
  options.outPath = m_temp.file("out.zip");
  StandIns standIns(kTestKey);
  ASSERT_EQ("", test::redactBundle(m_temp.file("whole.zip"), options, standIns));
  EXPECT_TRUE(binary == readBundle(options.outPath)[0].second);
  ASSERT_EQ("", test::redactBundle(m_temp.file("hurt.zip"), options, standIns));
  const BundleTexts texts = readBundle(options.outPath);
  EXPECT_EQ("a.log", texts[0].first);
  EXPECT_THAT(texts[1].second, HasSubstr("  core (it can't be read: "));
}

// More names than are remembered: the ones that stayed were those of the thread that ended first.
TEST_F(HardBundleTest, OfTooManyNamesTheSameAreFoundWhicheverThreadEndsFirst) {
  BundleTexts texts(3);
  for (std::size_t i = 0; i < 30000; ++i) {
    const std::string number = std::to_string(100000 + i) + "q";
    texts[0].second += "user=xa" + number + "\n";
    texts[1].second += "user=yb" + number + "\n";
    texts[2].second += (i % 100 == 0 ? "of xa" + number + " and yb" + number : "") + "\n";
  }
  texts[2].second += "of zulu77 and host77\n";
  texts[0].first = "a.log";
  texts[1].first = "b.log";
  texts[2].first = "c.log";
  RedactRules rules;
  ASSERT_EQ("", rules.load("name user zulu77\n"));
  RedactOptions options;
  options.rules = &rules;
  options.hosts = {"host77"};
  options.threads = 1;
  const BundleTexts first = redacted(texts, options);
  EXPECT_THAT(first[2].second.substr(first[2].second.size() - 60),
              MatchesRegex("(.|\n)*of user-.{10} and host-.{10}\n"));
  std::swap(texts[0].second, texts[1].second);
  options.threads = 3;
  EXPECT_TRUE(first[2].second == redacted(texts, options)[2].second);
}

}  // namespace
}  // namespace halvo
