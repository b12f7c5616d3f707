// One entry that several rows of the summary name: two commands of an item write one file, two items gather
// one. And one whose bytes are damaged.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/OpenedBundle_test.h"
#include "vpn/tools/TOLM/TOLMBundle/Show.h"
#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"

namespace halvo {
namespace {

using test::banner;
using test::OpenedBundle;
using test::SummaryBuilder;
using test::ZipBuilder;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

// "routes" names the file twice, "addresses" once more.
ZipBuilder shared() {
  SummaryBuilder summary;
  summary.section("Net")
      .included("routes", "ip_result.txt", "Routes", "200 bytes")
      .included("routes", "ip_result.txt", "Routes", "200 bytes")
      .included("addresses", "ip_result.txt", "Addresses", "200 bytes")
      .included("other", "a.log", "", "2 bytes");
  return ZipBuilder()
      .add({"summary.txt", summary.take()})
      .add({"Net/ip_result.txt", banner("ip route") + "sh: 1: ip: not found\n"})
      .add({"Net/a.log", "x\n"});
}

TEST(SharedFileTest, EveryRowIsAFileAndOneOfThemTheFirst) {
  const OpenedBundle content(shared());
  ASSERT_THAT(content->files(), SizeIs(4));
  EXPECT_EQ(content->firstFiles(), 2U);
  EXPECT_TRUE(content->isFirst(0));
  EXPECT_FALSE(content->isFirst(1));
  EXPECT_EQ(content->files()[2].first, 0U);
  EXPECT_TRUE(content->isFirst(3));
  EXPECT_EQ(content->idsOf(content->files()[2]), "routes, addresses");
  EXPECT_EQ(content->idsOf(content->files()[3]), "other");
}

// Three times 90 % of one bundle were told, and one failure three times.
TEST(SharedFileTest, SizeAndFailureAreToldOnce) {
  const OpenedBundle content(shared());
  const std::vector<FailedOutput> failed = findFailedOutputs(*content);
  EXPECT_THAT(failed, SizeIs(1));
  const std::string text = showText(*content, failed);
  EXPECT_THAT(text,
              AllOf(HasSubstr("\nThere (2)\n"),
                    HasSubstr("  routes            Net/ip_result.txt\n" + std::string(22, ' ') +
                              "routes            Net/ip_result.txt  (same file)\n" + std::string(22, ' ') +
                              "addresses         Net/ip_result.txt  (same file)\n")));
  const std::string item = showItemText(*content, "addresses");
  EXPECT_THAT(item, AllOf(HasSubstr("%  addresses"), Not(HasSubstr("same file"))));
}

TEST(SharedFileTest, JsonMarksTheLaterRows) {
  const OpenedBundle content(shared());
  std::string text;
  showJson(*content, {}, [&text](const std::string& piece) { text += piece; });
  std::vector<bool> again;
  const nlohmann::json json = nlohmann::json::parse(text);
  for (const nlohmann::json& file : json["files"]) {
    again.push_back(file.value("same_file", false));
  }
  EXPECT_THAT(again, ElementsAre(false, true, true, false));
}

TEST(ShowTest, AFileWhoseBytesAreDamagedIsMarkedAndNoFailedOutput) {
  SummaryBuilder summary;
  summary.section("Logs")
      .included("agent", "agent.log", "", "9 bytes")
      .included("route", "ip.txt", "", "9 bytes");
  std::string bytes = ZipBuilder()
                          .add({"summary.txt", summary.take()})
                          .add({"Logs/agent.log", "line one\n"})
                          .add({"Logs/ip.txt", banner("ip route") + "sh: 1: ip: not found\n"})
                          .take();
  bytes[bytes.find("line one")] = 'x';
  const OpenedBundle content(bytes);
  const std::vector<FailedOutput> failed = findFailedOutputs(*content);
  const std::string text = showText(*content, failed);
  EXPECT_THAT(text, AllOf(HasSubstr("Looks like a failure (1)\n  Logs/ip.txt: "),
                          HasSubstr("Logs/agent.log  (not read: its checksum is wrong)\n"),
                          HasSubstr("Logs/ip.txt\n")));
  std::string all;
  showJson(*content, failed, [&all](const std::string& piece) { all += piece; });
  const auto json = nlohmann::json::parse(all);
  EXPECT_EQ(json["failed_outputs"].size(), 1U);
  EXPECT_EQ(json["files"][0]["fault"], "its checksum is wrong");
  EXPECT_FALSE(json["files"][1].contains("fault"));
}

}  // namespace
}  // namespace halvo
