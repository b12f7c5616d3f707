// What a bundle holds and lacks: the two put together, shown, compared and asked for.

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMBundle/Ask.h"
#include "vpn/tools/TOLM/TOLMBundle/Compare.h"
#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"
#include "vpn/tools/TOLM/TOLMBundle/OpenedBundle_test.h"
#include "vpn/tools/TOLM/TOLMBundle/Show.h"
#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"

namespace halvo {
namespace {

using test::banner;
using test::SummaryBuilder;
using test::TempFolder;
using test::ZipBuilder;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using Opened = test::OpenedBundle;

ZipBuilder sample() {
  SummaryBuilder summary;
  summary.section("Logs").included("agent", "agent.log", "The agent's log", "12 bytes");
  summary.included("route", "ip_result.txt", "Routes", "200 bytes");
  summary.omitted("profile", "*.xml", "Profiles", "/etc/*.xml not found on client machine.");
  ZipBuilder zip;
  zip.add({"summary.txt", summary.take()});
  zip.add({"Logs/agent.log", "line one\nline two\n"});
  zip.add({"Logs/ip_result.txt", banner("ip route") + "sh: 1: ip: not found\n"});
  return zip;
}

TEST(BundleContentTest, FilesAreTiedToTheirItems) {
  const Opened content(sample());
  EXPECT_EQ(content->fault(), "");
  ASSERT_THAT(content->files(), SizeIs(2));
  EXPECT_EQ(content->files()[0].id, "agent");
  EXPECT_EQ(content->entry(content->files()[0]).name, "Logs/agent.log");
  EXPECT_THAT(content->filesOfItem("route"), ElementsAre(1U));
  EXPECT_EQ(content->findFile("agent.log"), 0U);
  EXPECT_EQ(content->findFile("Logs/agent.log"), 0U);
  EXPECT_EQ(content->findFile("none"), 2U);
}

TEST(BundleContentTest, LyingSummaryIsToldByWhatItClaims) {
  SummaryBuilder summary;
  summary.section("Logs")
      .included("agent", "agent.log", "", "1.00G")
      .included("agent", "agent.log", "", "2 bytes");
  summary.included("gone", "gone.log", "", "5 bytes");
  ZipBuilder zip;
  zip.add({"summary.txt", summary.take()}).add({"Logs/agent.log", "x"}).add({"Logs/stranger", "y"});
  const Opened content(zip);
  ASSERT_THAT(content->missing(), SizeIs(1));
  EXPECT_EQ(content->missing()[0].name, "gone.log");
  EXPECT_THAT(content->missing()[0].reason, HasSubstr("the bundle doesn't hold it"));
  const std::string text = showText(*content, {});
  EXPECT_THAT(text, HasSubstr("Logs/stranger  (the summary doesn't know it)"));
  // What redaction put there is nobody's.
  const Opened redacted(zip.add({"redaction.txt", "z"}));
  EXPECT_THAT(showText(*redacted, {}), AllOf(HasSubstr("redaction.txt\n"), HasSubstr("stranger  (the")));
  EXPECT_EQ(content->files().size(), 3U) << "one entry stands for both rows of its name";
}

TEST(BundleContentTest, AFileThatCannotBeReadIsNotToldAsAbsent) {
  SummaryBuilder summary;
  summary.section("Logs")
      .included("agent", "agent.log", "", "1 bytes")
      .included("gone", "gone.log", "", "5 bytes");
  test::ZipEntry bzip{"Logs/agent.log", "x"};
  bzip.method = 12;
  ZipBuilder zip;
  zip.add({"summary.txt", summary.take()}).add(bzip);
  const Opened content(zip);
  ASSERT_THAT(content->missing(), SizeIs(2));
  EXPECT_EQ(content->missing()[0].reason, "the summary lists it, and its file in the bundle can't be read");
  EXPECT_EQ(content->missing()[1].reason,
            "the summary lists it, and the bundle doesn't hold it, unless it was an empty folder");
}

TEST(BundleContentTest, BundleWithoutSummaryShowsItsEntries) {
  const Opened content(ZipBuilder().add({"any", "x"}));
  EXPECT_THAT(content->fault(), HasSubstr("no summary"));
  EXPECT_THAT(showText(*content, {}), AllOf(HasSubstr("no summary"), HasSubstr("any")));
}

TEST(BundleContentTest, BundleThatWasPackedAgainFromItsFolderIsReadAsBefore) {
  SummaryBuilder summary;
  summary.section("Logs").included("agent", "agent.log", "", "1 bytes");
  ZipBuilder zip;
  zip.add({"B/", ""}).add({"B/summary.txt", summary.take()}).add({"B/Logs/agent.log", "x"});
  zip.add({"__MACOSX/B/._agent.log", "y"}).add({"redaction.txt", "z"});
  const Opened content(zip);
  EXPECT_EQ(content->fault(), "");
  EXPECT_THAT(content->missing(), IsEmpty());
  EXPECT_EQ(content->files()[0].id, "agent");
  EXPECT_EQ(content->placeOf(0), "");
  EXPECT_EQ(content->placeOf(content->files()[0]), "Logs/agent.log");
  EXPECT_EQ(content->findFile("Logs/agent.log"), 0U);
  EXPECT_EQ(content->findFile("B/Logs/agent.log"), 0U);
  const Opened plain(ZipBuilder().add({"Logs/agent.log", "x"}));
  EXPECT_EQ(compareBundles(*plain, *content, 10).same, 1U);
}

// Packers put entries for the folders too, or another file beside the folder, or backslashes into names.
TEST(BundleContentTest, BundlesAreKnownHoweverTheyWerePackedAgain) {
  SummaryBuilder summary;
  summary.section("Logs").included("agent", "agent.log", "", "1 bytes");
  const std::string text = summary.take();
  for (const ZipBuilder& zip : {ZipBuilder()
                                    .add({"two/", ""})
                                    .add({"two/one/", ""})
                                    .add({"two/one/summary.txt", text})
                                    .add({"two/one/Logs/agent.log", "x"}),
                                ZipBuilder()
                                    .add({"mail.txt", "see there"})
                                    .add({"x/summary.txt", text})
                                    .add({"x/Logs/agent.log", "x"}),
                                ZipBuilder().add({"summary.txt", text}).add({"Logs\\agent.log", "x"})}) {
    const Opened content(zip);
    EXPECT_EQ(content->fault(), "");
    EXPECT_THAT(content->missing(), IsEmpty());
    EXPECT_THAT(content->filesOfItem("agent"), SizeIs(1));
  }
  // Whose is the top can't be told.
  const Opened two(ZipBuilder().add({"m", ""}).add({"x/summary.txt", text}).add({"y/summary.txt", text}));
  EXPECT_THAT(two->fault(), HasSubstr("no summary"));
}

// Rows of one name took the entries of that name in their order, whatever their folders.
TEST(BundleContentTest, BackslashesPartFoldersAsSlashesDo) {
  SummaryBuilder summary;
  summary.section("Tunnels").included("tunnels", "ip_result.txt", "", "1 bytes");
  summary.section("Network").included("addresses", "ip_result.txt", "", "2 bytes");
  const std::string text = summary.take();
  const Opened plain(ZipBuilder()
                         .add({"summary.txt", text})
                         .add({"Network/ip_result.txt", "xy"})
                         .add({"Tunnels/ip_result.txt", "z"}));
  for (const auto& [root, foreignRoot] :
       std::vector<std::pair<std::string, std::string>>{{"", ""}, {"one/", "one\\"}}) {
    const Opened content(ZipBuilder()
                             .add({foreignRoot + "Network\\", ""})
                             .add({foreignRoot + "Network\\ip_result.txt", "xy"})
                             .add({foreignRoot + "Tunnels\\ip_result.txt", "z"})
                             .add({foreignRoot + "summary.txt", text}));
    EXPECT_EQ(content->fault(), "");
    EXPECT_THAT(content->missing(), IsEmpty());
    ASSERT_THAT(content->files(), SizeIs(2)) << root;
    EXPECT_EQ(content->placeOf(content->files()[0]), "Tunnels/ip_result.txt");
    EXPECT_EQ(content->files()[0].id, "tunnels");
    EXPECT_EQ(content->files()[0].name, "ip_result.txt");
    EXPECT_EQ(content->placeOf(content->files()[1]), "Network/ip_result.txt");
    EXPECT_EQ(content->files()[1].id, "addresses");
    for (const std::string& name :
         {std::string("Network/ip_result.txt"), std::string("Network\\ip_result.txt"),
          foreignRoot + "Network\\ip_result.txt"}) {
      EXPECT_EQ(content->findPlace(name), 1U) << name;
    }
    EXPECT_EQ(compareBundles(*plain, *content, 10).same, 2U);
    EXPECT_EQ(compareBundles(*content, *plain, 10).same, 2U);
  }
}

TEST(BundleContentTest, BackslashesOfFilesOwnNamesStay) {
  SummaryBuilder summary;
  summary.section("Units").included("units", "a\\x2db.mount", "", "1 bytes");
  const std::string text = summary.take();
  // Beside the summary where the title is no folder's name.
  for (const std::string folder : {"Units/", ""}) {
    const Opened content(ZipBuilder().add({"summary.txt", text}).add({folder + "a\\x2db.mount", "x"}));
    ASSERT_THAT(content->files(), SizeIs(1));
    EXPECT_EQ(content->files()[0].id, "units");
    EXPECT_EQ(content->files()[0].name, "a\\x2db.mount");
    EXPECT_EQ(content->placeOf(content->files()[0]), folder + "a\\x2db.mount");
    EXPECT_EQ(content->findPlace(folder + "a\\x2db.mount"), 1U);
  }
}

// Somebody has added a file with a folder: then a slash parts folders too.
TEST(BundleContentTest, OfEqualNamesBehindBackslashesTheOneOfTheFolderIsMeantOrNone) {
  SummaryBuilder summary;
  summary.section("Tunnels").included("tunnels", "ip.txt", "", "1 bytes");
  summary.section("Gone").included("gone", "ip.txt", "", "1 bytes");
  const Opened content(ZipBuilder()
                           .add({"summary.txt", summary.take()})
                           .add({"notes/mail.txt", "m"})
                           .add({"Network\\ip.txt", "xy"})
                           .add({"Tunnels\\ip.txt", "z"}));
  ASSERT_THAT(content->filesOfItem("tunnels"), SizeIs(1));
  EXPECT_EQ(content->files()[content->filesOfItem("tunnels")[0]].entry, 3U);
  EXPECT_THAT(content->filesOfItem("gone"), IsEmpty());
  ASSERT_THAT(content->missing(), SizeIs(1));
  EXPECT_EQ(content->missing()[0].id, "gone");
}

TEST(BundleContentTest, FolderOfAllWithoutASummaryStaysPartOfTheNames) {
  const Opened content(ZipBuilder().add({"B/a", "x"}).add({"B/summary.txt", "another text"}));
  EXPECT_THAT(content->fault(), HasSubstr("no summary"));
  EXPECT_EQ(content->placeOf(0), "B/a");
}

TEST(BundleContentTest, EverythingThatCannotBeReadIsListed) {
  const Opened content(ZipBuilder().add({"a", "1"}).add({"a", "2"}).add({"../b", "3"}));
  const std::vector<UnreadPart> unread = content->unread();
  ASSERT_THAT(unread, SizeIs(3));
  EXPECT_EQ(unread[0].file, "");
  EXPECT_THAT(unread[0].why, HasSubstr("no summary"));
  EXPECT_EQ(unread[1].file, "a");
  EXPECT_EQ(unread[2].file, "../b");
}

TEST(ShowTest, MissingStandsAheadOfFailuresAndThoseAheadOfTheRest) {
  const Opened content(sample());
  const std::string text = showText(*content, findFailedOutputs(*content));
  const std::size_t missing = text.find("Missing (1)");
  const std::size_t failure = text.find("Looks like a failure (1)");
  const std::size_t there = text.find("There (2)");
  ASSERT_NE(there, std::string::npos) << text;
  EXPECT_LT(missing, failure);
  EXPECT_LT(failure, there);
  EXPECT_THAT(text, HasSubstr("Logs/ip_result.txt: sh: 1: ip: not found"));
  EXPECT_THAT(text, HasSubstr("*.xml: /etc/*.xml not found on client machine."));
}

std::string wholeJson(const BundleContent& content, const std::vector<FailedOutput>& failed) {
  std::string all;
  showJson(content, failed, [&all](const std::string& text) { all += text; });
  return all;
}

// Nothing where the bundle doesn't know the item.
std::string itemJson(const BundleContent& content, const std::string& id) {
  std::string all;
  const bool known = showItemJson(content, id, [&all](const std::string& text) { all += text; });
  EXPECT_EQ(known, !all.empty());
  return all;
}

TEST(ShowTest, JsonHoldsTheSame) {
  const Opened content(sample());
  const auto json = nlohmann::json::parse(wholeJson(*content, findFailedOutputs(*content)));
  EXPECT_EQ(json["machine"]["os"], "Debian GNU/Linux: 12.0.0");
  EXPECT_EQ(json["documents"][0]["title"], "Logs");
  EXPECT_EQ(json["files"][0]["id"], "agent");
  EXPECT_EQ(json["files"][0]["size"], 18);
  EXPECT_EQ(json["missing"][0]["id"], "profile");
  EXPECT_EQ(json["failed_outputs"][0]["file"], "Logs/ip_result.txt");
  const auto item = nlohmann::json::parse(itemJson(*content, "agent"));
  EXPECT_EQ(item["files"][0]["file"], "Logs/agent.log");
  EXPECT_EQ(itemJson(*content, "none"), "");
}

TEST(ShowTest, JsonIsIndentedAsAWholeObjectIs) {
  ZipBuilder unknown;
  unknown.add({"any", "x"});
  for (const ZipBuilder& zip : {sample(), unknown}) {
    const Opened content(zip);
    for (const std::string& text :
         {wholeJson(*content, findFailedOutputs(*content)), itemJson(*content, "agent")}) {
      if (!text.empty()) {
        EXPECT_EQ(nlohmann::ordered_json::parse(text).dump(2) + "\n", text);
      }
    }
  }
}

// The JSON of 100,000 files took more than twice the memory that reading the bundle takes.
TEST(ShowTest, JsonOfManyFilesIsNeverInMemoryAsAWhole) {
  ZipBuilder zip;
  for (int i = 0; i < 2000; ++i) {
    zip.add({"T/file-" + std::to_string(i), "x"});
  }
  const Opened content(zip);
  std::size_t longest = 0;
  std::size_t whole = 0;
  showJson(*content, {}, [&](const std::string& text) {
    longest = std::max(longest, text.size());
    whole += text.size();
  });
  EXPECT_GT(whole, 100000U);
  EXPECT_LT(longest, 1000U);
}

TEST(ShowTest, HostileTextsReachNoTerminal) {
  SummaryBuilder summary;
  summary.section("T\x1b[2J").included("a\x9b", "n\x1b]0;x\x07.log", "\xc2\x9b", "1 bytes");
  ZipBuilder zip;
  zip.add({"summary.txt", summary.take()})
      .add({"T\x1b[2J/n\x1b]0;x\x07.log", "x"})
      .add({"\xc2\x9b"
            "2J",
            "y"});
  const Opened content(zip);
  const std::string text = showText(*content, {}) + showItemText(*content, "a\x9b");
  for (const char c : text) {
    EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
  }
  EXPECT_THAT(text, Not(HasSubstr("\xc2\x9b")));
  EXPECT_FALSE(nlohmann::json::parse(wholeJson(*content, {}), nullptr, false).is_discarded());
}

// JSON bears U+009B as it is, and a terminal obeys it.
TEST(ShowTest, HostileTextsReachNoTerminalAsJsonEither) {
  SummaryBuilder summary;
  summary.section("T").included("a", "\xc2\x9b.log", "\xc2\x9b", "1 bytes");
  ZipBuilder zip;
  zip.add({"summary.txt", summary.take()}).add({"T/\xc2\x9b.log", "x"});
  const Opened content(zip);
  for (const std::string& text : {wholeJson(*content, {}), itemJson(*content, "a")}) {
    EXPECT_THAT(text, AllOf(HasSubstr("T/\\u009b.log"), Not(HasSubstr("\xc2\x9b"))));
  }
}

TEST(CompareTest, TimesAndProcessIdsAreNoDifference) {
  ZipBuilder before;
  before.add({"log", "Mar 15 10:42:07 h tm[1]: up\nMar 15 10:42:08 h tm[1]: down\n"});
  ZipBuilder after;
  after.add({"log", "Mar 16 11:42:07 h tm[22]: up\nMar 16 11:42:08 h tm[22]: down\n"});
  const Opened old(before);
  const Opened now(after);
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_THAT(comparison.changed, IsEmpty());
  EXPECT_EQ(comparison.same, 1U);
}

TEST(CompareTest, BundleIsTheSameAsItselfWhateverCannotBeReadInIt) {
  ZipBuilder zip;
  zip.add({"a", "1"}).add({"a", "2"}).add({"a", "3"}).add({"../evil", "4"}).add({"../evil", "5"});
  const Opened old(zip);
  const Opened now(zip);
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_THAT(comparison.onlyOld, IsEmpty());
  EXPECT_THAT(comparison.onlyNew, IsEmpty());
  EXPECT_THAT(comparison.changed, IsEmpty());
  EXPECT_EQ(comparison.same, 1U);
  EXPECT_EQ(comparison.notCompared, 4U);
  EXPECT_THAT(comparisonText(comparison), EndsWith("\nNot compared: 4 files that can't be read.\n"));
  EXPECT_EQ(nlohmann::json::parse(comparisonJson(comparison))["not_compared"], 4);
}

// A packer may have taken a method that is unknown here: the tables agree, and nobody has read the bytes.
TEST(CompareTest, AFileThatOneSideCannotOpenIsNotTheSame) {
  const Opened old(ZipBuilder().add({"a", "x"}).add({"b", "y"}));
  const Opened now(ZipBuilder().add({"a", "x"}).add({"b", "y", 12}));
  for (const Comparison& comparison : {compareBundles(*old, *now, 10), compareBundles(*now, *old, 10)}) {
    EXPECT_THAT(comparison.changed, IsEmpty());
    EXPECT_EQ(comparison.same, 1U);
    EXPECT_EQ(comparison.notCompared, 1U);
  }
}

TEST(CompareTest, EntryThatCannotBeReadIsToldBesideTheOneOfItsName) {
  const Opened old(ZipBuilder().add({"a", "1"}));
  const Opened now(ZipBuilder().add({"a", "1"}).add({"a", "2"}));
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_EQ(comparison.same, 1U);
  ASSERT_THAT(comparison.changed, SizeIs(1));
  EXPECT_THAT(comparison.changed[0].fault, EndsWith("another entry in front of it has the same name"));
}

// Tables of contents that agree say nothing of the bytes.
TEST(CompareTest, DamageOfAnEntryThatTheTablesCallTheSameIsTold) {
  const std::string bytes = ZipBuilder().add({"a", "one\n"}).add({"b", "two\n"}).take();
  std::string damaged = bytes;
  damaged[damaged.find("two")] = 'x';
  const Opened old(bytes);
  const Opened now(damaged);
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_EQ(comparison.same, 1U);
  ASSERT_THAT(comparison.changed, SizeIs(1));
  EXPECT_EQ(comparison.changed[0].name, "b");
  EXPECT_EQ(comparison.changed[0].fault, "in NEW it can't be read: its checksum is wrong");
  ASSERT_THAT(comparison.unreadNew, SizeIs(2)) << "the summary, and the file";
  EXPECT_EQ(comparison.unreadNew[1].file, "b");
  EXPECT_THAT(comparison.unreadOld, SizeIs(1));
  const auto json = nlohmann::json::parse(comparisonJson(comparison));
  EXPECT_EQ(json["unread_new"][1]["why"], "its checksum is wrong");
}

// Entries may bear any time: of a file that was copied with its own, or of who packed the bundle again.
TEST(BundleContentTest, TheTimeIsTheSummarysAndTheEntriesWhereItTellsNone) {
  const std::int64_t second = daysOfDate(2026, 3, 15) * kSecondsOfDay + 10LL * 3600 + 42LL * 60 + 6;
  const Opened with(ZipBuilder().add({"summary.txt", SummaryBuilder().take()}));
  EXPECT_EQ(with->madeAt(), second + 1);
  const Opened without(ZipBuilder().add({"a", "x"}));
  EXPECT_EQ(without->madeAt(), second);
}

TEST(CompareTest, LinesOfOneSideAreTold) {
  ZipBuilder before;
  before.add({"a", "same\ngone\ntwice\ntwice\n"}).add({"old", "x"}).add({"bin", std::string("\0a\1", 3)});
  ZipBuilder after;
  after.add({"a", "new\nsame\ntwice\n"}).add({"fresh", "x"}).add({"bin", std::string("\0b\1", 3)});
  const Opened old(before);
  const Opened now(after);
  const Comparison comparison = compareBundles(*old, *now, 10);
  ASSERT_THAT(comparison.onlyOld, SizeIs(1));
  EXPECT_EQ(comparison.onlyOld[0].name, "old");
  ASSERT_THAT(comparison.onlyNew, SizeIs(1));
  EXPECT_EQ(comparison.onlyNew[0].name, "fresh");
  ASSERT_THAT(comparison.changed, SizeIs(2));
  EXPECT_THAT(comparison.changed[0].gone.lines, ElementsAre("gone", "twice"));
  EXPECT_THAT(comparison.changed[0].added.lines, ElementsAre("new"));
  EXPECT_TRUE(comparison.changed[1].binary);
  const std::string text = comparisonText(comparison);
  EXPECT_THAT(text,
              AllOf(HasSubstr("Only in OLD (1)\n  old"), HasSubstr("    - gone"), HasSubstr("    + new")));
  const auto json = nlohmann::json::parse(comparisonJson(comparison));
  EXPECT_EQ(json["changed"][0]["lines_gone"], 2);
}

TEST(CompareTest, HostileNamesReachNoTerminalAsJson) {
  ZipBuilder before;
  before.add({"\xc2\x9b", "x"});
  ZipBuilder after;
  after.add({"\x7f", "x"});
  const Opened old(before);
  const Opened now(after);
  EXPECT_THAT(comparisonJson(compareBundles(*old, *now, 10)),
              AllOf(HasSubstr("\"\\u009b\""), HasSubstr("\"\\u007f\""), Not(HasSubstr("\xc2\x9b")),
                    Not(HasSubstr("\x7f"))));
}

TEST(CompareTest, KeptLinesAreBoundedAndCounted) {
  std::string lines;
  for (int i = 0; i < 100; ++i) {
    lines += "line number " + std::string(static_cast<std::size_t>(i), 'x') + "\n";
  }
  ZipBuilder before;
  before.add({"a", "x\n"});
  ZipBuilder after;
  after.add({"a", lines});
  const Opened old(before);
  const Opened now(after);
  const Comparison comparison = compareBundles(*old, *now, 10);
  EXPECT_EQ(comparison.changed[0].added.count, 100U);
  EXPECT_THAT(comparison.changed[0].added.lines, SizeIs(10));
  EXPECT_THAT(comparisonText(comparison), HasSubstr("+ ... and 90 more"));
}

TEST(CompareTest, MissingItemsAndMachinesAreCompared) {
  SummaryBuilder good;
  good.section("Logs").included("a", "a.log", "", "1 bytes");
  SummaryBuilder bad("Debian GNU/Linux: 11.0.0");
  bad.section("Logs").included("b", "b.log", "", "1 bytes").omitted("a", "a.log", "", "not found");
  const Opened old(ZipBuilder().add({"summary.txt", good.take()}).add({"Logs/a.log", "x"}));
  const Opened now(ZipBuilder().add({"summary.txt", bad.take()}).add({"Logs/b.log", "x"}));
  const Comparison comparison = compareBundles(*old, *now, 10);
  ASSERT_THAT(comparison.machine, SizeIs(1));
  EXPECT_EQ(comparison.machine[0].newValue, "Debian GNU/Linux: 11.0.0");
  ASSERT_THAT(comparison.missingNew, SizeIs(1));
  EXPECT_EQ(comparison.missingNew[0].id, "a");
}

TEST(AskTest, MissingItemsAreAskedForOnce) {
  SummaryBuilder summary;
  summary.section("Logs")
      .included("here", "a", "", "1 bytes")
      .omitted("b", "x", "", "why")
      .omitted("b", "y", "", "why");
  summary.omitted("comments", "", "", "Internal error: can't write comments at /x/")
      .omitted("a&b", "z", "", "why");
  const Opened content(ZipBuilder().add({"summary.txt", summary.take()}).add({"Logs/a", "1"}));
  EXPECT_EQ(
      requestDocument(missingItems(*content, Redacted::kLeftAlone)),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<request>\n  <file id=\"b\"/>\n  <file id=\"a&amp;b\"/>\n"
      "</request>\n");
}

TEST(AskTest, WhatRedactionLeftOutIsAskedForOnlyOnDemand) {
  SummaryBuilder summary;
  summary.section("Logs")
      .omitted("a", "x", "", "Left out by redaction: not a text")
      .omitted("b", "y", "", "why");
  const Opened content(ZipBuilder().add({"summary.txt", summary.take()}));
  EXPECT_THAT(missingItems(*content, Redacted::kLeftAlone), ElementsAre("b"));
  EXPECT_THAT(missingItems(*content, Redacted::kAskedFor), ElementsAre("a", "b"));
}

TEST(AskTest, WhatNoDocumentCanHoldIsLeftOut) {
  EXPECT_EQ(requestDocument({"\xff", "a\x01", "ok", "ok"}),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<request>\n  <file id=\"ok\"/>\n</request>\n");
  EXPECT_FALSE(canBeAskedFor("\xff"));
  EXPECT_FALSE(canBeAskedFor("a\xef\xbf\xbe"));
  EXPECT_FALSE(canBeAskedFor("a\xef\xbf\xbf"));
  EXPECT_TRUE(canBeAskedFor("a\xef\xbf\xbd"));
  EXPECT_TRUE(canBeAskedFor("\xc3\xa4 <\"&"));
}

}  // namespace
}  // namespace halvo
