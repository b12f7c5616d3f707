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

// The engine writes an ampersand of an id as a reference.
TEST(SummaryTextTest, AmpersandsOfIdsComeBackAsTheyWere) {
  const std::string plain = test::readFile(test::sourcePath("tests/system/golden/default_run/summary.txt"));
  std::string text = plain;
  const std::string note = " - The file(s) of ID optional is/are";
  text.replace(text.find(note), note.size(), " - The file(s) of ID R&#38;D is/are");
  Summary summary = readSummary(text);
  EXPECT_EQ(summary.sections[0].notDefault[0], "R&D");
  EXPECT_EQ(text, summaryText(summary));
  summary.sections[0].included[0].id = "R&D-logs&#38;";
  summary.unknownIds = {"a&b"};
  const std::string written = summaryText(summary);
  EXPECT_NE(written.find("R&#38;D-logs&#38"), std::string::npos) << written;
  EXPECT_EQ(readSummary(written).sections[0].included[0].id, "R&D-logs&#38;");
  EXPECT_EQ(readSummary(written).unknownIds[0], "a&b");
}

}  // namespace
}  // namespace halvo
