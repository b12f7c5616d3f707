#include "vpn/tools/TOLM/TOLMBundle/redact/SummaryText.h"

#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

TEST(SummaryTextTest, SummariesOfTheEngineComeBackByteForByte) {
  for (const std::string name : {"default_run", "request_run"}) {
    const std::string text = test::readFile(test::sourcePath("tests/system/golden/" + name + "/summary.txt"));
    EXPECT_EQ(text, summaryText(readSummary(text))) << name;
  }
}

}  // namespace
}  // namespace halvo
