#include "vpn/tools/TOLM/TOLMEngine/implementations/truncator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <initializer_list>
#include <type_traits>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::int32_t kNotSetYet = -1;

class TruncatorTest : public ::testing::Test {
 protected:
  TruncatorTest() : m_Summary("summary", "") {
    for (const char* section : {"Main_Info", "Manifest_Included", "Manifest_Not_Included", "Other_Note"}) {
      m_Summary.AddChild(m_Summary.GetRoot(), section, "");
    }
  }

  struct Gathered {
    std::string id;
    std::string name;
    std::size_t size;
    std::int32_t scheme;
    double budget;
    std::int32_t defaultScheme = kTruncateNone;
  };

  // Files of their sizes in the folder, and their records.
  void gather(std::initializer_list<Gathered> files) {
    for (const Gathered& file : files) {
      writeFile(m_Folder.file(file.name), std::string(file.size, 'x'));
      FileRecord record;
      record.id = file.id;
      record.path = m_Folder.file(file.name);
      record.description = "about " + file.name;
      record.size = static_cast<double>(file.size);
      record.requestedScheme = file.scheme;
      record.requestedSize = file.budget;
      record.defaultScheme = file.defaultScheme;
      record.appliedScheme = kNotSetYet;
      m_Records.push_back(record);
    }
  }

  // "id|value|description|last" of every entry of a section.
  [[nodiscard]] std::vector<std::string> section(const char* name, const char* lastAttribute) const {
    std::vector<std::string> lines;
    for (const auto& entry : m_Summary.GetRoot()->FindChild(name)->GetChildren()) {
      lines.push_back(entry->GetName() + "|" + entry->GetValue() + "|" +
                      entry->FindAttribute("description")->GetValue() + "|" +
                      entry->FindAttribute(lastAttribute)->GetValue());
    }
    return lines;
  }
  [[nodiscard]] std::vector<std::string> included() const {
    return section("Manifest_Included", "file_size");
  }
  [[nodiscard]] std::vector<std::string> omitted() const {
    return section("Manifest_Not_Included", "reason");
  }
  [[nodiscard]] std::vector<std::string> notes() const {
    std::vector<std::string> texts;
    for (const auto& note : m_Summary.GetRoot()->FindChild("Other_Note")->GetChildren()) {
      EXPECT_EQ(note->GetName(), " - ");
      texts.push_back(note->GetValue());
    }
    return texts;
  }
  [[nodiscard]] std::string content(const std::string& name) const { return readFile(m_Folder.file(name)); }
  [[nodiscard]] bool there(const std::string& name) const { return exists(m_Folder.file(name)); }

  ResultCode perform() { return truncator(m_Records, &m_Summary).perform(); }

  LogRecorder m_Log;
  TempFolder m_Folder;
  WorkingFolder m_Here{m_Folder.path()};
  XMLObject m_Summary;
  std::list<FileRecord> m_Records;
};

constexpr char kNote1[] =
    "*1: When the request specifies file(whole) truncation for a file ID(group), TOLM uses greedy algorithm\n"
    "         based on file sizes to decide which file in the ID group to keep and which to leave out.";
constexpr char kNote2[] =
    "*2: When the request specifies data truncation for a file ID(group), TOLM truncates all files of that "
    "ID\n         proportionally according to their original sizes, and uses defaults from configuration xml "
    "to decide whether to\n         truncate from front or end.";

TEST_F(TruncatorTest, KeepAllEntersEveryFileInItsOrder) {
  gather({{"b", "two", 2048, kTruncateWhole, 0}, {"a", "one", 3, kTruncateData, 0}, {"a", "one", 3, 77, 0}});
  truncator all(m_Records, &m_Summary);
  EXPECT_RESULT(all.keepAll(), 0);
  EXPECT_THAT(included(),
              ElementsAre("b|two|about two|2.00K", "a|one|about one|3 bytes", "a|one|about one|3 bytes"));
  EXPECT_THAT(notes(), IsEmpty());
  EXPECT_TRUE(there("two"));
  for (const FileRecord& record : all.records()) {
    EXPECT_EQ(record.appliedScheme, kTruncateNone);
  }
}

TEST_F(TruncatorTest, KeepAllOfNothingIsNoError) {
  EXPECT_RESULT(truncator(m_Records, &m_Summary).keepAll(), 0);
  EXPECT_RESULT(truncator(m_Records, nullptr).keepAll(), 0);
  EXPECT_THAT(m_Log.records(), IsEmpty());
}

TEST_F(TruncatorTest, KeepAllIgnoresThatAFileCantBeEntered) {
  gather({{"a", "one", 1, kTruncateNone, 0}, {"b", "two", 1, kTruncateNone, 0}});
  EXPECT_RESULT(truncator(m_Records, nullptr).keepAll(), 0);
  EXPECT_EQ(m_Log.count("m_pXMLSummary is uninitialized"), 2U) << m_Log.dump();
}

TEST_F(TruncatorTest, PerformOnAnEmptyListIsNotInitialized) {
  EXPECT_RESULT(perform(), TOLMENGINE_ERROR_NOT_INITIALIZED);
  EXPECT_TRUE(m_Log.has(kLogError, "m_TruncAttrsList is empty")) << m_Log.dump();
}

TEST_F(TruncatorTest, SortsByIdAndFallingSizeAndKeepsTheGatheredOrderOfEquals) {
  gather({{"ab", "ab1", 1, kTruncateNone, 0},
          {"a", "small", 1, kTruncateNone, 0},
          {"a", "large", 5, kTruncateNone, 0},
          {"a", "large2", 5, kTruncateNone, 0},
          {"\xc3\xa4", "umlaut", 1, kTruncateNone, 0}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_THAT(included(), ElementsAre("a|large|about large|5 bytes", "a|large2|about large2|5 bytes",
                                      "a|small|about small|1 bytes", "ab|ab1|about ab1|1 bytes",
                                      "\xc3\xa4|umlaut|about umlaut|1 bytes"));
  EXPECT_THAT(notes(), IsEmpty());
}

TEST_F(TruncatorTest, WholeFileSelectionKeepsTheLargestThatFit) {
  gather({{"a", "huge", 3000, kTruncateWhole, 1000},
          {"a", "medium", 600, kTruncateWhole, 1000},
          {"a", "medium2", 500, kTruncateWhole, 1000},
          {"a", "small", 400, kTruncateWhole, 1000}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_FALSE(there("huge"));
  EXPECT_TRUE(there("medium"));
  EXPECT_FALSE(there("medium2"));
  EXPECT_TRUE(there("small"));
  EXPECT_THAT(included(), ElementsAre("a|medium|about medium; see note *1|600 bytes",
                                      "a|small|about small; see note *1|400 bytes"));
  EXPECT_THAT(
      omitted(),
      ElementsAre("a|huge|about huge|See note *1; File/whole truncate type specified; total allowed size for "
                  "this ID is 1000 bytes; this file is 2.93K",
                  "a|medium2|about medium2|See note *1; File/whole truncate type specified; total allowed "
                  "size for this ID is 1000 bytes; this file is 500 bytes"));
  EXPECT_THAT(notes(), ElementsAre(kNote1));
}

TEST_F(TruncatorTest, ABudgetOfNothingKeepsOnlyEmptyFiles) {
  gather({{"a", "some", 1, kTruncateWhole, 0}, {"a", "empty", 0, kTruncateWhole, 0}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_FALSE(there("some"));
  EXPECT_TRUE(there("empty"));
  EXPECT_EQ(omitted().size(), 1U);
}

TEST_F(TruncatorTest, WhereEveryFileFitsItsBudgetTheNoteIsDueAllTheSame) {
  gather({{"a", "fits", 1, kTruncateWhole, 1}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_THAT(omitted(), IsEmpty());
  EXPECT_THAT(notes(), ElementsAre(kNote1));
}

TEST_F(TruncatorTest, OfTwoEqualFilesTheEarlierGatheredStays) {
  gather({{"a", "first", 10, kTruncateWhole, 10}, {"a", "second", 10, kTruncateWhole, 10}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_TRUE(there("first"));
  EXPECT_FALSE(there("second"));
}

TEST_F(TruncatorTest, EachRecordIsJudgedByItsOwnBudget) {
  gather({{"a", "large", 10, kTruncateWhole, 5}, {"a", "small", 8, kTruncateWhole, 100}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_FALSE(there("large"));
  EXPECT_TRUE(there("small"));
}

TEST_F(TruncatorTest, TheSumStartsAnewForEachId) {
  gather({{"a", "a1", 10, kTruncateWhole, 10}, {"b", "b1", 10, kTruncateWhole, 10}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_TRUE(there("a1"));
  EXPECT_TRUE(there("b1"));
}

TEST_F(TruncatorTest, FilesThatStayWholeAreMarkedAsNotCut) {
  gather({{"a", "none", 10, kTruncateNone, 0},
          {"b", "kept", 10, kTruncateWhole, 10},
          {"b", "gone", 5, kTruncateWhole, 10}});
  truncator some(m_Records, &m_Summary);
  EXPECT_RESULT(some.perform(), 0);
  std::vector<std::int32_t> applied;
  for (const FileRecord& record : some.records()) {
    applied.push_back(record.appliedScheme);
  }
  EXPECT_THAT(applied, ElementsAre(kTruncateNone, kTruncateNone, kNotSetYet));
}

TEST_F(TruncatorTest, AFileThatDoesntFitAndCantBeDeletedIsListedAsOutAllTheSame) {
  for (const char* id : {"mismatch", "whole"}) {
    makeFolders(m_Folder.file(id));
    FileRecord record;
    record.id = id;
    record.path = m_Folder.file(id);
    record.size = 5;
    record.requestedScheme = kTruncateWhole;
    m_Records.push_back(record);
  }
  gather({{"mismatch", "head", 10, kTruncateNone, 0}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_TRUE(there("mismatch"));
  EXPECT_TRUE(there("whole"));
  EXPECT_THAT(omitted(),
              ElementsAre("mismatch|mismatch||Internal error",
                          "whole|whole||See note *1; File/whole truncate type specified; total allowed size "
                          "for this ID is 0 bytes; this file is 5 bytes"));
  // Only a lost file is told as dead.
  EXPECT_THAT(notes(), ElementsAre(kNote1));
}

TEST_F(TruncatorTest, DataCuttingShortensEveryFileInProportion) {
  gather({{"a", "end", 600, kTruncateData, 500, kTruncateEnd},
          {"a", "front", 400, kTruncateData, 500, kTruncateFront}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("end"), std::string(300, 'x'));
  EXPECT_EQ(content("front"), std::string(200, 'x') + "\xff");
  // Listed at the size they were gathered with.
  EXPECT_THAT(included(), ElementsAre("a|end|about end; see Note *2|600 bytes",
                                      "a|front|about front; see Note *2|400 bytes"));
  EXPECT_THAT(notes(), ElementsAre(kNote2));
}

TEST_F(TruncatorTest, AnotherDefaultSchemeIsCutAtTheEndWithAWarning) {
  gather({{"a", "file", 100, kTruncateData, 10, kTruncateNone}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("file").size(), 10U);
  EXPECT_THAT(
      notes(),
      ElementsAre("Warning: the file file corresponding to ID a has WHOLE or NONE as default truncation "
                  "type, however, requested to be DATA-truncated.\n\t TOLM will truncate end, but there "
                  "could be possible loss of useful data, or corruption of the file.",
                  kNote2));
}

TEST_F(TruncatorTest, FractionsOfAByteAreNotKept) {
  // 3.67 and 7.33 bytes.
  gather({{"a", "small", 10, kTruncateData, 11, kTruncateEnd},
          {"a", "large", 20, kTruncateData, 11, kTruncateEnd}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("small").size(), 3U);
  EXPECT_EQ(content("large").size(), 7U);
}

TEST_F(TruncatorTest, AFileThatCantBeCutIsListedAsIncludedAllTheSame) {
  gather({{"a", "vanished", 10, kTruncateData, 5, kTruncateEnd}});
  ASSERT_RESULT(helperUtil::fileDelete(m_Folder.file("vanished")), 0);
  EXPECT_RESULT(perform(), 0);
  EXPECT_TRUE(m_Log.has(kLogError, "Failed to open \"" + m_Folder.file("vanished") + "\"")) << m_Log.dump();
  EXPECT_THAT(included(), ElementsAre("a|vanished|about vanished; see Note *2|10 bytes"));
}

TEST_F(TruncatorTest, OnlyAGroupWithFilesMakesTheDataNoteDue) {
  gather({{"a", "file", 10, kTruncateNone, 0}});
  std::list<FileRecord> group;
  truncator empty(m_Records, &m_Summary);
  EXPECT_RESULT(empty.DATATruncateAll(group, 0), 0);
  EXPECT_RESULT(empty.perform(), 0);
  EXPECT_THAT(notes(), IsEmpty());
  group = m_Records;
  truncator full(m_Records, &m_Summary);
  EXPECT_RESULT(full.DATATruncateAll(group, 10), 0);
  EXPECT_RESULT(full.perform(), 0);
  EXPECT_THAT(notes(), ::testing::Contains(kNote2));
}

TEST_F(TruncatorTest, AGroupThatCantBeCutIsLoggedAndTheWalkGoesOn) {
  class Failing : public truncator {
   public:
    using truncator::truncator;
    ResultCode DATATruncateAll(std::list<FileRecord>& group, double sum) override {
      calls.push_back(group.front().id + " " + std::to_string(group.size()) + " " +
                      helperUtil::sizeToText(sum, 0));
      return TOLMENGINE_ERROR_UNEXPECTED;
    }
    std::vector<std::string> calls;
  };
  gather({{"a", "a1", 10, kTruncateData, 5},
          {"a", "a2", 20, kTruncateData, 5},
          {"b", "b", 1, kTruncateNone, 0},
          {"c", "c", 7, kTruncateData, 5}});
  Failing failing(m_Records, &m_Summary);
  EXPECT_RESULT(failing.perform(), 0);
  EXPECT_THAT(failing.calls, ElementsAre("a 2 30 bytes", "c 1 7 bytes"));
  EXPECT_THAT(included(), ElementsAre("b|b|about b|1 bytes"));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "truncator::DATATruncateAll", TOLMENGINE_ERROR_UNEXPECTED));
  ASSERT_EQ(m_Log.count("truncator::DATATruncateAll"), 2U) << m_Log.dump();
  EXPECT_EQ(m_Log.records().front().field("Function"), "perform");
}

TEST_F(TruncatorTest, DataCuttingSetsTheAppliedScheme) {
  gather({{"a", "one", 10, kTruncateData, 5, kTruncateEnd},
          {"a", "two", 10, kTruncateData, 5, kTruncateFront},
          {"a", "three", 10, kTruncateData, 5, 99}});
  truncator cut(m_Records, &m_Summary);
  EXPECT_RESULT(cut.DATATruncateAll(m_Records, 30), 0);
  std::vector<std::int32_t> applied;
  for (const FileRecord& record : m_Records) {
    applied.push_back(record.appliedScheme);
  }
  EXPECT_THAT(applied, ElementsAre(kTruncateEnd, kTruncateFront, kTruncateEnd));
}

TEST_F(TruncatorTest, ADataBudgetOfNothingKeepsNothing) {
  gather({{"a", "end", 10, kTruncateData, 0, kTruncateEnd},
          {"a", "front", 10, kTruncateData, 0, kTruncateFront}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("end"), "");
  EXPECT_EQ(content("front"), "\xff");
}

TEST_F(TruncatorTest, AGroupOfEmptyFilesIsKeptAtNothing) {
  // Zero by zero is not a number and narrows to 0.
  gather({{"a", "end", 0, kTruncateData, 100, kTruncateEnd},
          {"a", "front", 0, kTruncateData, 100, kTruncateFront}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("end"), "");
  EXPECT_EQ(content("front"), "\xff");
}

TEST_F(TruncatorTest, AGroupAtOrUnderItsBudgetIsCutAllTheSame) {
  gather({{"a", "exact", 10, kTruncateData, 10, kTruncateFront},
          {"b", "under", 10, kTruncateData, 20, kTruncateEnd}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("exact"), std::string(10, 'x') + "\xff");
  EXPECT_EQ(content("under"), std::string(10, 'x') + "\xff");
}

TEST_F(TruncatorTest, AKeepSizeOfTwoGibibytesAndMoreWraps) {
  // 2^31 narrows to the smallest negative number: the end cut leaves nothing. 2^32 narrows to 0, and
  // 2^32 + 3 to 3.
  gather({{"a", "wrapped", 10, kTruncateData, 2147483648.0, kTruncateEnd},
          {"b", "zero", 10, kTruncateData, 4294967296.0, kTruncateEnd},
          {"c", "three", 10, kTruncateData, 4294967299.0, kTruncateEnd}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("wrapped"), "");
  EXPECT_EQ(content("zero"), "");
  EXPECT_EQ(content("three"), "xxx");
}

TEST_F(TruncatorTest, AnotherSchemeThanItsGroupsFirstIsDeletedAsInternalError) {
  gather({{"a", "first", 10, kTruncateNone, 0}, {"a", "second", 5, kTruncateWhole, 100}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_TRUE(there("first"));
  EXPECT_FALSE(there("second"));
  EXPECT_THAT(omitted(), ElementsAre("a|second|about second|Internal error"));
  EXPECT_TRUE(
      m_Log.has(kLogInformation,
                "Two files corresponding to the same fileID have different requested truncation scheme"))
      << m_Log.dump();
  EXPECT_THAT(notes(), IsEmpty());
}

TEST_F(TruncatorTest, AFileOfAnotherSchemeDoesntCountInItsGroupsSum) {
  gather({{"data", "cut", 10, kTruncateData, 5, kTruncateEnd},
          {"data", "stray", 8, kTruncateNone, 0},
          {"whole", "first", 10, kTruncateWhole, 15},
          {"whole", "alien", 8, kTruncateData, 15},
          {"whole", "last", 5, kTruncateWhole, 15}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("cut").size(), 5U);
  EXPECT_TRUE(there("first"));
  EXPECT_TRUE(there("last"));
  EXPECT_FALSE(there("stray"));
  EXPECT_FALSE(there("alien"));
  EXPECT_THAT(omitted(),
              ElementsAre("data|stray|about stray|Internal error", "whole|alien|about alien|Internal error"));
}

TEST_F(TruncatorTest, AGroupHeadedByAnUnknownSchemeIsLost) {
  gather({{"a", "head", 10, kTruncateEnd, 0}, {"a", "tail", 5, kTruncateNone, 0}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_FALSE(there("head"));
  EXPECT_FALSE(there("tail"));
  EXPECT_THAT(omitted(), ElementsAre("a|head|about head|Internal error", "a|tail|about tail|Internal error"));
  EXPECT_TRUE(m_Log.has(kLogInformation, "Lost fileID for file: \"" + m_Folder.file("head") + "\""));
  EXPECT_THAT(notes(), IsEmpty());
}

TEST_F(TruncatorTest, ALostFileThatCantBeDeletedIsToldAsDead) {
  makeFolders(m_Folder.file("folder"));
  FileRecord record;
  record.id = "a";
  record.path = m_Folder.file("folder");
  record.requestedScheme = kTruncateFront;
  m_Records.push_back(record);
  EXPECT_RESULT(perform(), 0);
  const std::string note = "Dead file: " + m_Folder.file("folder") + " in bundle.";
  EXPECT_THAT(notes(), ElementsAre(note));
  EXPECT_TRUE(m_Log.has(kLogError, note));
}

TEST_F(TruncatorTest, AnIdNamedLikeASectionTakesWhatComesBehindIt) {
  gather({{"A", "a_gone", 2, kTruncateWhole, 1},
          {"Manifest_Not_Included", "m_kept", 5, kTruncateWhole, 5},
          {"Manifest_Not_Included", "m_gone", 4, kTruncateWhole, 5},
          {"Other_Note", "o_kept", 3, kTruncateWhole, 5}});
  EXPECT_RESULT(perform(), 0);
  const DataComponent* const root = m_Summary.GetRoot();
  const auto valuesBelow = [](const DataComponent& node) {
    std::vector<std::string> values;
    for (const auto& child : node.GetChildren()) {
      values.push_back(child->GetValue());
    }
    return values;
  };
  // The section itself takes the first; then the entry of that name stands before it in the tree.
  const DataComponent& good = *root->FindChild("Manifest_Included");
  ASSERT_THAT(valuesBelow(good), ElementsAre("m_kept", "o_kept"));
  EXPECT_THAT(valuesBelow(*good.GetChildren().front()), ElementsAre("m_gone"));
  EXPECT_THAT(valuesBelow(*good.GetChildren().back()), ElementsAre(kNote1));
  const auto section = std::next(root->GetChildren().begin(), 2);
  EXPECT_EQ((*section)->GetName(), "Manifest_Not_Included");
  EXPECT_THAT(valuesBelow(**section), ElementsAre("a_gone"));
  EXPECT_THAT(valuesBelow(*root->GetChildren().back()), IsEmpty());
}

TEST_F(TruncatorTest, TheRecordsOfItsStepsBearTheOperationsName) {
  gather({{"a", "kept", 10, kTruncateWhole, 100},
          {"a", "mismatch", 5, kTruncateNone, 0},
          {"b", "lost", 10, kTruncateEnd, 0}});
  makeFolders(m_Folder.file("dead"));
  FileRecord record;
  record.id = "b";
  record.path = m_Folder.file("dead");
  record.requestedScheme = kTruncateEnd;
  m_Records.push_back(record);
  m_Summary.GetRoot()->RemoveChild("Manifest_Included");
  EXPECT_RESULT(perform(), 0);
  std::vector<std::string> texts;
  for (const LogRecord& entry : m_Log.records()) {
    if (entry.field("Function") == "perform") {
      const std::string invoked = entry.field("Invoked Function");
      texts.push_back(invoked.empty() ? entry.text().substr(0, 9) : invoked);
    }
  }
  EXPECT_THAT(texts, ElementsAre("truncator::fillSummaryGoodFile", "Two files", "Lost file", "Lost file",
                                 "Dead file"))
      << m_Log.dump();
}

TEST_F(TruncatorTest, GroupsOfEverySchemeStandBesideEachOther) {
  gather({{"a", "none", 10, kTruncateNone, 0},
          {"b", "data", 10, kTruncateData, 4, kTruncateEnd},
          {"c", "whole", 10, kTruncateWhole, 4},
          {"d", "data2", 10, kTruncateData, 2, kTruncateEnd}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(content("data").size(), 4U);
  EXPECT_EQ(content("data2").size(), 2U);
  EXPECT_FALSE(there("whole"));
  EXPECT_THAT(notes(), ElementsAre(kNote1, kNote2));
}

TEST_F(TruncatorTest, TheCallersRecordsAreNeverTouched) {
  gather({{"b", "b", 10, kTruncateWhole, 100}, {"a", "a", 10, kTruncateWhole, 100}});
  EXPECT_RESULT(perform(), 0);
  EXPECT_EQ(m_Records.front().id, "b");
  EXPECT_EQ(m_Records.front().description, "about b");
}

// The marks of the first pass were forgotten.
TEST_F(TruncatorTest, ASecondPassAddsMarksEntriesAndNotesAgain) {
  gather({{"b", "kept", 10, kTruncateWhole, 10},
          {"b", "gone", 5, kTruncateWhole, 10},
          {"a", "cut", 8, kTruncateData, 4, kTruncateEnd}});
  truncator twice(m_Records, &m_Summary);
  EXPECT_RESULT(twice.perform(), 0);
  EXPECT_RESULT(twice.perform(), 0);
  // The marks of data cutting are those of its group, which is made anew.
  EXPECT_THAT(included(),
              ElementsAre("a|cut|about cut; see Note *2|8 bytes", "b|kept|about kept; see note *1|10 bytes",
                          "a|cut|about cut; see Note *2|8 bytes",
                          "b|kept|about kept; see note *1; see note *1|10 bytes"));
  EXPECT_EQ(omitted().size(), 2U);
  EXPECT_THAT(notes(), ElementsAre(kNote1, kNote2, kNote1, kNote2));
  std::vector<std::string> descriptions;
  for (const FileRecord& record : twice.records()) {
    descriptions.push_back(record.description);
  }
  EXPECT_THAT(descriptions, ElementsAre("about cut", "about kept; see note *1; see note *1", "about gone"));
}

TEST_F(TruncatorTest, KeepingAllBehindAPassEntersItsMarksInItsOrder) {
  gather({{"b", "kept", 10, kTruncateWhole, 10}, {"a", "cut", 8, kTruncateData, 8, kTruncateEnd}});
  truncator both(m_Records, &m_Summary);
  EXPECT_RESULT(both.perform(), 0);
  EXPECT_RESULT(both.keepAll(), 0);
  const std::vector<std::string> lines = included();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[2], "a|cut|about cut|8 bytes");
  EXPECT_EQ(lines[3], "b|kept|about kept; see note *1|10 bytes");
  for (const FileRecord& record : both.records()) {
    EXPECT_EQ(record.appliedScheme, kTruncateNone);
  }
}

static_assert(!std::is_constructible_v<truncator, std::list<FileRecord>, XMLObject*>,
              "records are borrowed, and never moved in to come back marked");

// A section was looked for once: one that was removed between two calls was used after it was freed.
TEST_F(TruncatorTest, ASectionIsLookedForAtEachCall) {
  gather({{"a", "a", 1, kTruncateNone, 0}});
  truncator some(m_Records, &m_Summary);
  EXPECT_RESULT(some.fillSummaryGoodFile(m_Records.front()), 0);
  m_Summary.GetRoot()->RemoveChild("Manifest_Included");
  EXPECT_RESULT(some.fillSummaryGoodFile(m_Records.front()), TOLMENGINE_ERROR_NULL_XML_CHILD);
  m_Summary.AddChild(m_Summary.GetRoot(), "Manifest_Included", "");
  EXPECT_RESULT(some.fillSummaryGoodFile(m_Records.front()), 0);
  EXPECT_EQ(included().size(), 1U);
  m_Summary.GetRoot()->FindChild("Manifest_Included")->SetName("other");
  EXPECT_RESULT(some.fillSummaryGoodFile(m_Records.front()), TOLMENGINE_ERROR_NULL_XML_CHILD);
}

TEST_F(TruncatorTest, FillingAnUnusableSummaryIsLoggedAndTold) {
  const FileRecord record;
  EXPECT_RESULT(truncator(m_Records, nullptr).fillSummaryGoodFile(record), TOLMENGINE_ERROR_NOT_INITIALIZED);
  EXPECT_TRUE(m_Log.has(kLogError, "m_pXMLSummary is uninitialized"));
  XMLObject empty;
  EXPECT_RESULT(truncator(m_Records, &empty).fillSummaryGoodFile(record), TOLMENGINE_ERROR_NULL_XML_ROOT);
  EXPECT_TRUE(m_Log.has(kLogError, "pDCSummaryRoot is NULL"));
  XMLObject bare("summary", "");
  EXPECT_RESULT(truncator(m_Records, &bare).fillSummaryGoodFile(record), TOLMENGINE_ERROR_NULL_XML_CHILD);
  EXPECT_TRUE(m_Log.has(kLogError, "pDCGoodFiles is NULL"));
  EXPECT_RESULT(truncator(m_Records, nullptr).fillSummaryInternalFailure(record), 0);
}

TEST_F(TruncatorTest, AFailureToEnterAFileIsLoggedAndTheWalkGoesOn) {
  gather({{"a", "whole", 1, kTruncateWhole, 10}, {"b", "data", 1, kTruncateData, 10, kTruncateEnd}});
  XMLObject bare("summary", "");
  EXPECT_RESULT(truncator(m_Records, &bare).perform(), 0);
  std::size_t logged = 0;
  for (const LogRecord& log : m_Log.records()) {
    if (log.field("Invoked Function") == "truncator::fillSummaryGoodFile") {
      ++logged;
      EXPECT_EQ(log.level, kLogError) << log.message;
    }
  }
  EXPECT_EQ(logged, 2U) << m_Log.dump();
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "truncator::fillSummaryGoodFile", TOLMENGINE_ERROR_NULL_XML_CHILD));
}

}  // namespace
}  // namespace halvo
