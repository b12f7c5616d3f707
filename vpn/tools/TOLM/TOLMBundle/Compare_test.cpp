// What a comparison tells of items, of what is missing and of long lines.

#include "vpn/tools/TOLM/TOLMBundle/Compare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/OpenedBundle_test.h"
#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"

namespace halvo {
namespace {

using test::OpenedBundle;
using test::SummaryBuilder;
using test::ZipBuilder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

ZipBuilder bundleOf(SummaryBuilder& summary, const std::string& file = "Logs/a.log") {
  return ZipBuilder().add({"summary.txt", summary.take()}).add({file, "x"});
}

TEST(CompareItemsTest, AFileOfAnotherItemIsNotTheSame) {
  SummaryBuilder before;
  before.section("Logs").included("one", "a.log", "", "1 bytes");
  SummaryBuilder after;
  after.section("Logs").included("two", "a.log", "", "1 bytes");
  const OpenedBundle old(bundleOf(before));
  const OpenedBundle now(bundleOf(after));
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_THAT(comparison.itemsOld, ElementsAre("one"));
  EXPECT_THAT(comparison.itemsNew, ElementsAre("two"));
  ASSERT_THAT(comparison.otherItem, SizeIs(1));
  const std::string text = comparisonText(comparison);
  EXPECT_THAT(text, HasSubstr("Items of OLD alone (1)\n  one\n"));
  EXPECT_THAT(text, HasSubstr("Of another item (1)\n  Logs/a.log: one -> two\n"));
  const auto json = nlohmann::json::parse(comparisonJson(comparison));
  EXPECT_EQ(json["items_new"][0], "two");
  EXPECT_EQ(json["item_changed"][0]["new"], "two");
}

TEST(CompareItemsTest, FilesOfOneSideAreToldWithTheirItem) {
  SummaryBuilder before;
  before.section("Logs").included("one", "a.log", "", "1 bytes");
  SummaryBuilder after;
  after.section("Logs").included("one", "b.log", "", "1 bytes");
  const OpenedBundle old(bundleOf(before));
  const OpenedBundle now(bundleOf(after, "Logs/b.log"));
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_THAT(comparison.itemsOld, IsEmpty());
  EXPECT_THAT(comparisonText(comparison), HasSubstr("Only in OLD (1)\n  Logs/a.log  (one)\n"));
  EXPECT_EQ(nlohmann::json::parse(comparisonJson(comparison))["only_new_items"][0], "one");
}

TEST(CompareItemsTest, MissingFilesOfOneNameAreCountedEach) {
  SummaryBuilder before;
  before.section("Logs").included("a", "a.log", "", "1 bytes").omitted("b", "N/A", "", "No file found /x");
  before.omitted("b", "N/A", "", "No file found /y");
  SummaryBuilder after;
  after.section("Logs").included("a", "a.log", "", "1 bytes").omitted("b", "N/A", "", "No file found /y");
  const OpenedBundle old(bundleOf(before));
  const OpenedBundle now(bundleOf(after));
  const Comparison comparison = compareBundles(*old, *now, 10);
  ASSERT_THAT(comparison.missingOld, SizeIs(1));
  EXPECT_EQ(comparison.missingOld[0].reason, "No file found /x");
  EXPECT_THAT(comparison.missingNew, IsEmpty());
  EXPECT_THAT(comparison.reasons, IsEmpty());
}

TEST(CompareItemsTest, PathsThatFoundNothingHaveNoNameInCommon) {
  SummaryBuilder before;
  before.section("Logs").included("a", "a.log", "", "1 bytes").omitted("b", "N/A", "", "No file found /x");
  SummaryBuilder after;
  after.section("Logs").included("a", "a.log", "", "1 bytes").omitted("b", "N/A", "", "No file found /y");
  const OpenedBundle old(bundleOf(before));
  const OpenedBundle now(bundleOf(after));
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_THAT(comparison.reasons, IsEmpty());
  EXPECT_THAT(comparison.missingOld, SizeIs(1));
  EXPECT_THAT(comparison.missingNew, SizeIs(1));
}

TEST(CompareItemsTest, AReasonThatChangedIsTold) {
  SummaryBuilder before;
  before.section("Logs").included("a", "a.log", "", "1 bytes").omitted("b", "b.log", "", "No file found");
  SummaryBuilder after;
  after.section("Logs").included("a", "a.log", "", "1 bytes").omitted("b", "b.log", "", "No permission");
  const OpenedBundle old(bundleOf(before));
  const OpenedBundle now(bundleOf(after));
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_THAT(comparison.missingOld, IsEmpty());
  EXPECT_THAT(
      comparisonText(comparison),
      HasSubstr("Missing in both for another reason (1)\n  b  b.log: No file found -> No permission\n"));
  EXPECT_EQ(nlohmann::json::parse(comparisonJson(comparison))["reason_changed"][0]["old"], "No file found");
}

TEST(CompareItemsTest, TheBundlesOwnPathIsNoOtherReason) {
  const auto bundle = [](const std::string& path) {
    SummaryBuilder summary;
    summary.section("Logs").included("a", "a.log", "", "1 bytes").omitted("b", "b.log", "", "in " + path);
    std::string text = summary.take();
    text.replace(text.find("/tmp/bundle.zip"), 15, path);
    return ZipBuilder().add({"summary.txt", text}).add({"Logs/a.log", "x"});
  };
  const OpenedBundle old(bundle("/tmp/one.zip"));
  const OpenedBundle now(bundle("/tmp/two.zip"));
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_THAT(comparison.reasons, IsEmpty());
  EXPECT_THAT(comparison.missingNew, IsEmpty());
}

// What nobody could read was told as missing in the other bundle alone, and the machine as another one.
TEST(CompareItemsTest, WithoutBothSummariesNothingIsToldOfThem) {
  SummaryBuilder summary;
  summary.section("Logs").included("a", "a.log", "", "1 bytes").omitted("b", "b.log", "", "No file found");
  const std::string text = summary.take();
  const OpenedBundle whole(ZipBuilder().add({"summary.txt", text}).add({"Logs/a.log", "x"}));
  for (const ZipBuilder& zip :
       {ZipBuilder().add({"Logs/a.log", "x"}), ZipBuilder().add({"summary.txt", ""}).add({"Logs/a.log", "x"}),
        ZipBuilder().add({"summary.txt", text.substr(0, text.find("b.log"))}).add({"Logs/a.log", "x"})}) {
    const OpenedBundle other(zip);
    for (const Comparison& comparison :
         {compareBundles(*whole, *other, 10), compareBundles(*other, *whole, 10)}) {
      EXPECT_EQ(comparisonText(comparison), "The same: 1 file, times and process ids set aside.\n");
    }
  }
}

Comparison comparedTexts(const std::string& before, const std::string& after) {
  const OpenedBundle old(ZipBuilder().add({"a", before}));
  const OpenedBundle now(ZipBuilder().add({"a", after}));
  return compareBundles(*old, *now, 10);
}

// Of several megabytes, without a line's end.
std::string longLine(const std::string& id, const std::string& time, const std::string& value) {
  std::string line = "[";
  for (int i = 0; i < 60000; ++i) {
    line += R"({"pid":)" + id + R"(,"n":)" + std::to_string(i) + R"(,"time":")" + time + R"("},)";
  }
  return line + value + "]";
}

// Its parts were lines of their own, and differed from where one of both had a byte more.
TEST(CompareLinesTest, ALongLineIsOneLine) {
  const std::string line = longLine("1", "10:42:07", "5");
  const Comparison comparison = comparedTexts(line + "\nx\n", "[7," + line.substr(1) + "\nx\n");
  ASSERT_THAT(comparison.changed, SizeIs(1));
  EXPECT_EQ(comparison.changed[0].gone.count, 1U);
  EXPECT_THAT(comparison.changed[0].added.lines, ElementsAre("[7," + line.substr(1, 397) + "..."));
}

TEST(CompareLinesTest, TimesAndProcessIdsInALongLineAreNoDifference) {
  const std::string line = longLine("1", "10:42:07", "5");
  EXPECT_THAT(comparedTexts(line, longLine("12345", "2026-03-15T10:42:08.123Z", "5")).changed, IsEmpty());
  EXPECT_THAT(comparedTexts(line, longLine("12345", "2026-03-15T10:42:08.123Z", "6")).changed, SizeIs(1));
}

TEST(CompareLinesTest, OfALineItsFrontIsKeptUpToAWholeCharacter) {
  const std::string front(399, 'x');
  const Comparison comparison = comparedTexts(front + "y\n", front + "\xc3\xa4\n");
  ASSERT_THAT(comparison.changed, SizeIs(1));
  EXPECT_THAT(comparison.changed[0].gone.lines, ElementsAre(front + "y"));
  EXPECT_THAT(comparison.changed[0].added.lines, ElementsAre(front + "..."));
}

}  // namespace
}  // namespace halvo
