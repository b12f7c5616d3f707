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

}  // namespace
}  // namespace halvo
