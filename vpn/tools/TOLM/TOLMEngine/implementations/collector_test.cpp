#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <initializer_list>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineSupport_test.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class CollectorTest : public ::testing::Test {
 protected:
  CollectorTest() {
    makeFolders(m_Folder.file("work/config"));
    for (const char* name : {"a.log", "b.log", "c.log"}) {
      writeFile(m_Folder.file(std::string("src/") + name), name);
    }
  }

  // An item that copies src/<id>.log.
  [[nodiscard]] std::string item(const std::string& id, const std::string& isDefault = "true") const {
    return itemText(id, copyAction(m_Folder.file("src/" + id + ".log")), isDefault);
  }

  void request(const std::string& text) {
    m_Request = parseDocument(text);
    m_Unprocessed = collector::getFileComponents(*m_Request);
  }

  // Collects one config with the fixture's collector, made at the first call.
  ResultCode collect(const std::string& config, std::uint32_t start = 0) {
    if (m_pCollector == nullptr) {
      m_pCollector = std::make_unique<collector>(m_Request.get(), m_Unprocessed, 90, "/home/u/bundle");
    }
    std::string folder = m_Folder.file("work/config");
    return m_pCollector->Collect(folder, parseDocument(config).get(), start);
  }

  [[nodiscard]] std::vector<std::string> gathered() const { return listFolder(m_Folder.file("work/config")); }
  [[nodiscard]] std::string summary() const { return readFile(m_Folder.file("work/summary.txt")); }
  [[nodiscard]] std::vector<std::string> unprocessedIds() const {
    std::vector<std::string> ids;
    for (const DataComponent* item : m_Unprocessed) {
      ids.push_back(collector::getFileId(item));
    }
    return ids;
  }

  LogRecorder m_Log;
  TempFolder m_Folder;
  ReportKeeper m_Keeper;
  std::unique_ptr<XMLObject> m_Request = std::make_unique<XMLObject>();
  std::list<DataComponent*> m_Unprocessed;
  std::unique_ptr<collector> m_pCollector;
};

TEST_F(CollectorTest, WithoutARequestDocumentNothingIsCollected) {
  collector lost(nullptr, m_Unprocessed, 92, "");
  std::string folder = m_Folder.path();
  XMLObject config("c", "");
  EXPECT_RESULT(lost.Collect(folder, &config, 0), TOLMENGINE_ERROR_NOT_INITIALIZED);
  EXPECT_TRUE(m_Log.has(kLogError, "m_pXMLRequest is NULL")) << m_Log.dump();
  // Ahead of the look at the config.
  EXPECT_RESULT(lost.Collect(folder, nullptr, 0), TOLMENGINE_ERROR_NOT_INITIALIZED);
}

TEST_F(CollectorTest, WithoutAConfigNothingIsCollected) {
  collector some(m_Request.get(), m_Unprocessed, 92, "");
  std::string folder = m_Folder.path();
  EXPECT_RESULT(some.Collect(folder, nullptr, 0), TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_Log.has(kLogError, "pXMLObjectConfig is NULL")) << m_Log.dump();
  EXPECT_RESULT(some.Clear(nullptr, 0), TOLMENGINE_ERROR_BAD_PARAMETER);
}

TEST_F(CollectorTest, AConfigWithoutItemsReportsNothingAndHasEmptyTables) {
  EXPECT_RESULT(collect(documentText("Empty", "")), 0);
  EXPECT_THAT(m_Keeper.reports, IsEmpty());
  EXPECT_THAT(summary(), HasSubstr("Empty:\n\nFiles Included in Bundle:\n"));
  EXPECT_THAT(summary(), Not(HasSubstr("Files Omitted")));
}

TEST_F(CollectorTest, DefaultItemsAreGatheredInTheOrderOfTheirIds) {
  EXPECT_RESULT(collect(documentText("T", item("c") + item("a") + item("b", "false")), 3), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log", "c.log"));
  // 90 percent over three items; only processed ones advance the bar.
  EXPECT_THAT(m_Keeper.reports, ElementsAre("3 Processing about a...", "33 Processing about c..."));
  EXPECT_THAT(summary(),
              HasSubstr(" - The file(s) of ID b is/are not included by default by this config.\n"));
}

TEST_F(CollectorTest, OnlyTheExactWordTrueMakesAnItemDefault) {
  for (const char* word : {"True", "TRUE", "true ", " true", "true\n", "yes", "1", ""}) {
    EXPECT_RESULT(collect(documentText("T", item("a", word))), 0);
    EXPECT_THAT(gathered(), IsEmpty()) << word;
  }
  EXPECT_RESULT(collect("<c><file id=\"a\"/></c>"), 0);
  EXPECT_THAT(m_Keeper.reports, IsEmpty());
}

TEST_F(CollectorTest, ADefaultMarkDeepInTheInstructionsCountsAndTheFirstDecides) {
  const std::string deep = "<file id=\"a\"><tolm>" + osStart() + "<default>true</default>" +
                           copyAction(m_Folder.file("src/a.log")) + "</os></tolm></file>";
  const std::string contradicted =
      "<file id=\"b\"><x><default>false</default></x><default>true</default><tolm>" + osStart() +
      copyAction(m_Folder.file("src/b.log")) + "</os></tolm></file>";
  EXPECT_RESULT(collect(documentText("T", deep + contradicted)), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log"));
}

TEST_F(CollectorTest, AFileElementThatIsNoDirectChildOfTheRootIsNoItem) {
  EXPECT_RESULT(collect("<c><group>" + item("a") + "</group></c>"), 0);
  EXPECT_THAT(gathered(), IsEmpty());
  EXPECT_THAT(m_Keeper.reports, IsEmpty());
}

TEST_F(CollectorTest, TheFirstMatchingOsIsTaken) {
  const std::string text = "<file id=\"a\"><default>true</default><tolm><os>" +
                           copyAction(m_Folder.file("src/b.log")) + "</os><os opsys=\"beos\"/><other/>" +
                           osStart() + copyAction(m_Folder.file("src/a.log")) + "</os>" + osStart() +
                           copyAction(m_Folder.file("src/c.log")) + "</os></tolm></file>";
  EXPECT_RESULT(collect(documentText("T", text)), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log"));
}

TEST_F(CollectorTest, AnOsElementDeeperInTheInstructionsIsNotFound) {
  const std::string text = "<file id=\"a\"><default>true</default><tolm><group>" + osStart() +
                           copyAction(m_Folder.file("src/a.log")) + "</os></group></tolm></file>";
  EXPECT_RESULT(collect(documentText("T", text)), 0);
  EXPECT_THAT(gathered(), IsEmpty());
  EXPECT_TRUE(m_Log.has(kLogError, "Correct OS not found")) << m_Log.dump();
}

TEST_F(CollectorTest, ItemWithoutMatchingOsIsSkippedWithoutNote) {
  const std::string text =
      "<file id=\"a\"><default>true</default><tolm><os opsys=\"win8\"/></tolm></file>" + item("b");
  EXPECT_RESULT(collect(documentText("T", text)), 0);
  EXPECT_THAT(gathered(), ElementsAre("b.log"));
  EXPECT_TRUE(m_Log.has(kLogError, "Correct OS not found")) << m_Log.dump();
  // A skipped item doesn't advance the bar.
  EXPECT_THAT(m_Keeper.reports, ElementsAre("0 Processing ...", "0 Processing about b..."));
  EXPECT_THAT(summary(), Not(HasSubstr("Notes:")));
}

TEST_F(CollectorTest, AnItemWithoutInstructionsFindsNoOs) {
  // The very first item leaves the reader nowhere; a later one leaves it on the item before.
  const std::string bare = "<file id=\"0\"><default>true</default></file>";
  const std::string late = "<file id=\"z\"><default>true</default></file>";
  EXPECT_RESULT(collect(documentText("T", bare + item("a") + late)), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log"));
  EXPECT_EQ(m_Log.count("pDC->FindChild(TOLM_CONST) is NULL"), 2U);
  EXPECT_EQ(m_Log.count("Correct OS not found"), 2U);
}

// The search goes on where the item before has left the reader.
TEST_F(CollectorTest, AnItemWithoutInstructionsSearchesBelowTheOsOfTheItemBefore) {
  const std::string nested = "<file id=\"a\"><default>true</default><tolm>" + osStart() +
                             copyAction(m_Folder.file("src/a.log")) + osStart() +
                             copyAction(m_Folder.file("src/b.log")) + "</os></os></tolm></file>";
  EXPECT_RESULT(collect(documentText("T", nested + "<file id=\"z\"><default>true</default></file>")), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log", "b.log"));
}

TEST_F(CollectorTest, AFileIsListedInTheSectionOfItsOwnConfigAlone) {
  EXPECT_RESULT(collect(documentText("One", item("a"))), 0);
  EXPECT_RESULT(collect(documentText("Two", "")), 0);
  EXPECT_EQ(summary().find("a.log"), summary().rfind("a.log"));
}

TEST_F(CollectorTest, OneItemGetsTheWholeShareAndEachOfTwoHalfOfIt) {
  // The step shows in what a command reports behind its first wait: 4.8 percent of it.
  writeWaitingProgram(m_Folder.file("slow"));
  m_Keeper.endsCommandAt = 2;
  m_Keeper.commandEnd = m_Folder.file("end");
  const std::string slow = "<use_extern_action><action><args>" + m_Folder.file("slow") + " " +
                           m_Keeper.commandEnd + "</args></action></use_extern_action>";
  EXPECT_RESULT(collect(documentText("T", itemText("a", slow)), 10), 0);
  ASSERT_GE(m_Keeper.reports.size(), 2U);
  EXPECT_EQ(m_Keeper.reports[0], "10 Processing about a...");
  EXPECT_EQ(m_Keeper.reports[1], "14 Processing about a...");
  m_Keeper.reports.clear();
  unlink(m_Keeper.commandEnd.c_str());
  EXPECT_RESULT(collect(documentText("T", itemText("a", slow) + item("b")), 20), 0);
  ASSERT_GE(m_Keeper.reports.size(), 3U);
  EXPECT_EQ(m_Keeper.reports[0], "20 Processing about a...");
  EXPECT_EQ(m_Keeper.reports[1], "22 Processing about a...");
  EXPECT_EQ(m_Keeper.reports.back(), "65 Processing about b...");
}

TEST_F(CollectorTest, AnItemWithoutAnIdIsGatheredAndNotedUnderTheEmptyText) {
  const auto nameless = [this](const char* isDefault) {
    return "<file><description>no id</description><default>" + std::string(isDefault) + "</default><tolm>" +
           osStart() + copyAction(m_Folder.file("src/a.log")) + "</os></tolm></file>";
  };
  EXPECT_RESULT(collect(documentText("T", nameless("true") + nameless("false"))), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log"));
  EXPECT_THAT(m_Keeper.reports, ElementsAre("0 Processing no id..."));
  EXPECT_THAT(summary(), HasSubstr(" - The file(s) of ID  is/are not included by default by this config.\n"));
}

TEST_F(CollectorTest, ItemsOfOneIdKeepTheirDocumentOrder) {
  const auto same = [this](const char* file) {
    return "<file id=\"x\"><description>" + std::string(file) +
           "</description><default>true</default><tolm>" + osStart() +
           copyAction(m_Folder.file("src/") + file) + "</os></tolm></file>";
  };
  EXPECT_RESULT(collect(documentText("T", same("c.log") + same("a.log") + same("b.log"))), 0);
  EXPECT_THAT(m_Keeper.reports,
              ElementsAre("0 Processing c.log...", "30 Processing a.log...", "60 Processing b.log..."));
}

TEST_F(CollectorTest, CompareFileIdIsFalseBothWaysWithoutAnId) {
  DataComponent with("file", "");
  with.AddAttribute("id", "a");
  DataComponent other("file", "");
  other.AddAttribute("id", "b");
  DataComponent without("file", "");
  DataComponent foreign("file", "");
  foreign.AddAttribute("name", "a");
  EXPECT_TRUE(collector::compareFileId(&with, &other));
  EXPECT_FALSE(collector::compareFileId(&other, &with));
  for (const DataComponent* node : std::initializer_list<const DataComponent*>{&without, &foreign, nullptr}) {
    EXPECT_FALSE(collector::compareFileId(&with, node));
    EXPECT_FALSE(collector::compareFileId(node, &with));
    EXPECT_EQ(collector::getFileId(node), "");
    EXPECT_FALSE(collector::hasFileId(node, ""));
  }
  EXPECT_TRUE(collector::hasFileId(&with, "a"));
}

TEST_F(CollectorTest, IdsCompareAsUnsignedBytesAndTheShorterFirst) {
  DataComponent shorter("file", "");
  shorter.AddAttribute("id", "a");
  DataComponent longer("file", "");
  longer.AddAttribute("id", "ab");
  DataComponent high("file", "");
  high.AddAttribute("id", "\xc3\xa4");
  EXPECT_TRUE(collector::compareFileId(&shorter, &longer));
  EXPECT_TRUE(collector::compareFileId(&longer, &high));
  EXPECT_FALSE(collector::compareFileId(&high, &shorter));
}

TEST_F(CollectorTest, ADocumentWithoutARootHasNoItems) {
  EXPECT_THAT(collector::getFileComponents(XMLObject()), IsEmpty());
  EXPECT_TRUE(m_Log.has(kLogError, "rXMLObject.GetRoot() is NULL")) << m_Log.dump();
}

TEST_F(CollectorTest, SystemNamesAreExact) {
  EXPECT_TRUE(collector::isCurrentOS(kThisSystem));
  for (const char* name : {"Linux", "Mac", kOtherSystem, "win2k", "win2k3", "winxp", "vista", "win7", "win8",
                           "", "linux ", "mac "}) {
    EXPECT_FALSE(collector::isCurrentOS(name)) << name;
  }
}

TEST_F(CollectorTest, AnEmptyFolderBecomesTheDefaultTemporaryFolder) {
  // Nothing is gathered there, and the summary goes to its parent: named by the request to stay private.
  request("<r><file id=\"summary\"><name>" + m_Folder.file("s").substr(1) + "</name></file></r>");
  collector some(m_Request.get(), m_Unprocessed, 92, "");
  std::string folder;
  static_cast<void>(some.Collect(folder, parseDocument("<c/>").get(), 0));
  EXPECT_EQ(folder, "/tmp/TOLM_Temp_Bundle");
}

// --- Request mode ---

TEST_F(CollectorTest, ARequestPassesWhatItDoesntHaveAndProcessesWhatItHas) {
  request("<r><file id=\"b\"/><file id=\"a\"/></r>");
  EXPECT_RESULT(collect(documentText("T", item("c", "false") + item("b", "false"))), 0);
  EXPECT_THAT(gathered(), ElementsAre("b.log"));
  EXPECT_THAT(m_Keeper.reports, ElementsAre("0 Processing about b..."));
  EXPECT_THAT(unprocessedIds(), ElementsAre("a"));
}

TEST_F(CollectorTest, TheCursorOnlyMovesForwards) {
  request("<r><file id=\"c\"/><file id=\"a\"/><file id=\"b\"/><file id=\"zz\"/></r>");
  EXPECT_RESULT(collect(documentText("T", item("b") + item("c") + item("a")), 1), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log", "b.log", "c.log"));
  EXPECT_THAT(m_Keeper.reports,
              ElementsAre("1 Processing about a...", "23 Processing about b...", "45 Processing about c..."));
  EXPECT_THAT(unprocessedIds(), ElementsAre("zz"));
}

TEST_F(CollectorTest, OfSeveralConfigItemsOfOneIdOnlyTheFirstMatches) {
  request("<r><file id=\"x\"/><file id=\"x\"/></r>");
  const std::string first = itemText("x", copyAction(m_Folder.file("src/a.log")));
  const std::string second = itemText("x", copyAction(m_Folder.file("src/b.log")));
  EXPECT_RESULT(collect(documentText("T", first + second)), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log"));
  EXPECT_EQ(m_Keeper.reports.size(), 2U);
  // Two request items of one id are two objects; each is taken out in its turn.
  EXPECT_THAT(unprocessedIds(), IsEmpty());
  EXPECT_THAT(summary(), Not(HasSubstr("WARNING")));
}

TEST_F(CollectorTest, ARequestItemWithoutMatchingOsStaysUnprocessed) {
  request("<r><file id=\"a\"/></r>");
  EXPECT_RESULT(
      collect(documentText("T", "<file id=\"a\"><tolm>" + osStart(kOtherSystem) + "</os></tolm></file>")), 0);
  EXPECT_THAT(unprocessedIds(), ElementsAre("a"));
  EXPECT_THAT(m_Keeper.reports, ElementsAre("0 Processing ..."));
}

TEST_F(CollectorTest, ARequestItemWithoutMatchingOsDoesNotAdvanceTheBar) {
  request("<r><file id=\"a\"/><file id=\"b\"/></r>");
  EXPECT_RESULT(collect(documentText("T", "<file id=\"a\"><tolm>" + osStart(kOtherSystem) +
                                              "</os></tolm></file>" + item("b"))),
                0);
  EXPECT_THAT(m_Keeper.reports, ElementsAre("0 Processing ...", "0 Processing about b..."));
}

TEST_F(CollectorTest, ARequestItemThatTheConfigHasNotDoesNotAdvanceTheBar) {
  request("<r><file id=\"a\"/><file id=\"b\"/></r>");
  EXPECT_RESULT(collect(documentText("T", item("b")), 7), 0);
  EXPECT_THAT(m_Keeper.reports, ElementsAre("7 Processing about b..."));
}

TEST_F(CollectorTest, ASecondConfigWithTheIdGathersAgainAndIsWarnedOf) {
  request("<r><file id=\"a\"/></r>");
  EXPECT_RESULT(collect(documentText("One", item("a"))), 0);
  EXPECT_THAT(unprocessedIds(), IsEmpty());
  const std::string other = itemText("a", copyAction(m_Folder.file("src/b.log")));
  EXPECT_RESULT(collect(documentText("Two", other)), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log", "b.log"));
  EXPECT_THAT(summary(),
              HasSubstr(" - WARNING: File ID a has duplicated instruction found in one of previous "
                        "config files\n"));
}

TEST_F(CollectorTest, InARequestTheItemsNameGoesIntoTheStoredName) {
  request("<r><file id=\"a\"/></r>");
  const std::string named = "<file id=\"a\"><name>report.txt</name><default>true</default><tolm>" +
                            osStart() + copyAction(m_Folder.file("src/a.log")) + "</os></tolm></file>";
  EXPECT_RESULT(collect(documentText("T", named)), 0);
  EXPECT_THAT(gathered(), ElementsAre("report__a__log.txt"));
}

TEST_F(CollectorTest, InARequestDescriptionAndNameAreThoseOfTheConfigsItem) {
  request("<r><file id=\"a\"><description>wanted</description><name>wanted.txt</name></file></r>");
  EXPECT_RESULT(collect(documentText("T", item("a"))), 0);
  EXPECT_THAT(m_Keeper.reports, ElementsAre("0 Processing about a..."));
  EXPECT_THAT(gathered(), ElementsAre("a.log"));
  EXPECT_THAT(summary(), Not(HasSubstr("wanted")));
}

TEST_F(CollectorTest, InDefaultModeTheItemsNameIsLeftOut) {
  const std::string named = "<file id=\"a\"><name>report.txt</name><default>true</default><tolm>" +
                            osStart() + copyAction(m_Folder.file("src/a.log")) + "</os></tolm></file>";
  EXPECT_RESULT(collect(documentText("T", named)), 0);
  EXPECT_THAT(gathered(), ElementsAre("a.log"));
}

TEST_F(CollectorTest, ARequestWithoutItemsProcessesNothingAndWritesTheComments) {
  request("<r><comments>It broke</comments></r>");
  EXPECT_RESULT(collect(documentText("T", item("a"))), 0);
  EXPECT_THAT(gathered(), IsEmpty());
  EXPECT_EQ(readFile(m_Folder.file("work/comments.txt")), "Comments from Tessarmont user:\nIt broke");
  EXPECT_THAT(summary(), HasSubstr("comments.txt"));
  EXPECT_THAT(m_Keeper.reports, IsEmpty());
}

TEST_F(CollectorTest, CommentsAndSummaryItemsAdvanceTheBarAndStayUnprocessed) {
  request("<r><file id=\"summary\"/><file id=\"comments\"/><file id=\"z\"/></r>");
  EXPECT_RESULT(collect(documentText("T", itemText("z", copyAction(m_Folder.file("src/a.log"))))), 0);
  EXPECT_THAT(m_Keeper.reports, ElementsAre("60 Processing about z..."));
  EXPECT_THAT(unprocessedIds(), ElementsAre("summary", "comments"));
}

TEST_F(CollectorTest, EverySummaryItemAdvancesTheBarAndTheFirstNamesTheFile) {
  request(
      "<r><file id=\"summary\"><name>one.txt</name></file><file id=\"summary\"><name>two.txt</name></file>"
      "<file id=\"z\"/></r>");
  EXPECT_RESULT(collect(documentText("T", itemText("z", copyAction(m_Folder.file("src/a.log"))))), 0);
  EXPECT_THAT(m_Keeper.reports, ElementsAre("60 Processing about z..."));
  EXPECT_THAT(listFolder(m_Folder.file("work")), ElementsAre("config", "one.txt"));
}

TEST_F(CollectorTest, OfSeveralCommentsItemsTheLastNamesTheFile) {
  request(
      "<r><comments>It broke</comments><file id=\"comments\"><name>one.txt</name></file>"
      "<file id=\"comments\"><name>two.txt</name></file></r>");
  EXPECT_RESULT(collect(documentText("T", "")), 0);
  EXPECT_THAT(listFolder(m_Folder.file("work")), ElementsAre("config", "summary.txt", "two.txt"));
}

TEST_F(CollectorTest, CommentsAreWrittenOnceForTheFirstConfig) {
  request("<r><comments>It broke</comments><file id=\"comments\"><name>words.txt</name></file></r>");
  EXPECT_RESULT(collect(documentText("One", "")), 0);
  writeFile(m_Folder.file("work/words.txt"), "changed");
  EXPECT_RESULT(collect(documentText("Two", "")), 0);
  EXPECT_EQ(readFile(m_Folder.file("work/words.txt")), "changed");
  EXPECT_FALSE(exists(m_Folder.file("work/comments.txt")));
}

TEST_F(CollectorTest, ARequestWithoutCommentTextWritesNoCommentsFile) {
  request("<r><file id=\"comments\"><name>words.txt</name></file></r>");
  EXPECT_RESULT(collect(documentText("T", "")), 0);
  EXPECT_THAT(listFolder(m_Folder.file("work")), ElementsAre("config", "summary.txt"));
}

TEST_F(CollectorTest, ACommentsItemWithAnEmptyNameCantBeWrittenAndIsToldSo) {
  request("<r><comments>It broke</comments><file id=\"comments\"><name/></file></r>");
  EXPECT_RESULT(collect(documentText("T", "")), 0);
  const std::string message = "Internal error: can't write comments at " + m_Folder.file("work/config/../");
  EXPECT_TRUE(m_Log.has(kLogError, message)) << m_Log.dump();
  EXPECT_THAT(summary(), HasSubstr("Files Omitted from Bundle:\n"));
  EXPECT_THAT(summary(), HasSubstr("\ncomments           " + std::string(28, ' ') + "  " +
                                   std::string(40, ' ') + "  Internal error: can't write comments at"));
}

TEST_F(CollectorTest, TheSummaryItemNamesTheFileAndTheFirstUseFixesIt) {
  request(
      "<r><file id=\"summary\"><name>report.txt</name></file><file "
      "id=\"summary\"><name>late</name></file></r>");
  EXPECT_RESULT(collect(documentText("One", "")), 0);
  EXPECT_RESULT(collect(documentText("Two", "")), 0);
  EXPECT_THAT(listFolder(m_Folder.file("work")), ElementsAre("config", "report.txt"));
  EXPECT_EQ(m_pCollector->GetSummaryPath(), m_Folder.file("work/config/../report.txt"));
}

TEST_F(CollectorTest, ASummaryThatCantBeWrittenFailsTheConfigAndTheNextStartsAnew) {
  request("<r><comments>It broke</comments><file id=\"a\"/></r>");
  makeFolders(m_Folder.file("work/summary.txt"));
  EXPECT_RESULT(collect(documentText("One", item("a"))), TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
  EXPECT_TRUE(m_Log.has(kLogError,
                        "fopen failed to open file \"" + m_Folder.file("work/config/../summary.txt") + "\""));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "collector::printSummary", TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "collector::writeSummary", TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
  std::string removed = m_Folder.file("work/summary.txt");
  ASSERT_EQ(rmdir(removed.c_str()), 0);
  // The records of the failed config are still there, and the heading is still to come.
  EXPECT_RESULT(collect(documentText("Two", "")), 0);
  EXPECT_THAT(summary(), HasSubstr("TOLM BUNDLE SUMMARY"));
  EXPECT_THAT(summary(), HasSubstr("a.log"));
}

// Told so: what points into such a tree stays good.
TEST_F(CollectorTest, ASummaryThatAFailedConfigLeftIsNotDeleted) {
  const auto changesOfASecondCollect = [this](const std::string& firstItems) {
    collector some(m_Request.get(), m_Unprocessed, 90, "");
    std::string folder = m_Folder.file("work/config");
    makeFolders(m_Folder.file("work/summary.txt"));
    EXPECT_RESULT(some.Collect(folder, parseDocument(documentText("One", firstItems)).get(), 0),
                  TOLMENGINE_ERROR_FILE_OPEN_FAILURE);
    EXPECT_EQ(rmdir(m_Folder.file("work/summary.txt").c_str()), 0);
    const auto second = parseDocument(documentText("Two", ""));
    const std::uint64_t before = DataComponent::changeNumber();
    EXPECT_RESULT(some.Collect(folder, second.get(), 0), 0);
    unlink(m_Folder.file("work/summary.txt").c_str());
    return DataComponent::changeNumber() - before;
  };
  // Notes of the first config would count among what the second destroys.
  EXPECT_EQ(changesOfASecondCollect(""),
            changesOfASecondCollect(item("a", "no") + item("b", "no") + item("c", "no")));
}

// --- Clear ---

TEST_F(CollectorTest, ClearAdvancesForEveryItem) {
  collector some(nullptr, m_Unprocessed, 90, "");
  const auto config = parseDocument(
      documentText("T", item("c") + item("b", "no") + "<file id=\"a\"><default>true</default></file>"));
  EXPECT_RESULT(some.Clear(config.get(), 5), 0);
  EXPECT_THAT(m_Keeper.reports, ElementsAre("5 Clearing ...", "65 Clearing about c..."));
  EXPECT_TRUE(exists(m_Folder.file("src/c.log")));
  EXPECT_EQ(some.GetSummaryPath(), "");
}

TEST_F(CollectorTest, ClearOfAConfigWithoutDefaultItemsReportsNothing) {
  collector some(nullptr, m_Unprocessed, 90, "");
  EXPECT_RESULT(some.Clear(parseDocument(documentText("T", item("a", "no"))).get(), 0), 0);
  EXPECT_THAT(m_Keeper.reports, IsEmpty());
}

TEST_F(CollectorTest, ClearDeletesWhatTheActionsSay) {
  collector some(nullptr, m_Unprocessed, 90, "");
  const std::string text =
      itemText("a", copyAction(m_Folder.file("src/*.LOG"), "<clear_log apply=\"true\"/>"));
  EXPECT_RESULT(some.Clear(parseDocument(documentText("T", text)).get(), 0), 0);
  EXPECT_THAT(listFolder(m_Folder.file("src")), IsEmpty());
}

}  // namespace
}  // namespace halvo
