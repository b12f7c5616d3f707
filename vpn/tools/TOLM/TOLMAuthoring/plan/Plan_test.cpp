#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>

#include "tests/support/JsonSchema.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/DeepWalk.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A machine with a few files; counts what is asked of it.
class FakeHost : public IPlanHost {
 public:
  struct Entry {
    std::int64_t size = 0;
    std::int64_t time = 0;
    bool folder = false;
    std::string problem;
    std::string link;
    bool other = false;
  };
  std::map<std::string, std::map<std::string, Entry>> folders;
  std::map<std::string, std::vector<std::string>> lists;
  std::set<std::string> closedFolders;  // can't be opened

  ResultCode findAll(std::string folder, std::string pattern,
                     std::list<helperUtil::FileFindEntry>& entries) override {
    for (const auto& [name, entry] : folders[folder]) {
      if (helperUtil::wildcardMatch(pattern.c_str(), name.c_str())) {
        entries.push_back({name, entry.folder, entry.time});
      }
    }
    if (entries.empty() && closedFolders.count(folder) != 0) {
      return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
    }
    return entries.empty() ? TOLMENGINE_ERROR_FILE_NOT_FOUND : 0;
  }
  std::int64_t sizeOf(const std::string& path) override { return at(path).size; }
  HostKind kindOf(const std::string& path) override {
    const std::size_t slash = path.rfind('/');
    const auto found = folders.find(path.substr(0, slash + 1));
    if (found == folders.end() || found->second.find(path.substr(slash + 1)) == found->second.end()) {
      return HostKind::kMissing;
    }
    return at(path).other ? HostKind::kOther : at(path).folder ? HostKind::kFolder : HostKind::kFile;
  }
  std::string deleteProblem(const std::string& path) override { return at(path).problem; }
  bool hasProgram(const std::string& program) override { return program == "tool"; }
  std::string readProblem(const std::string& path) override { return at(path).problem; }
  ResultCode logLocations(const std::string& file, std::vector<std::string>& locations) override {
    if (lists.find(file) == lists.end()) {
      return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
    }
    locations = lists[file];
    return 0;
  }
  std::vector<std::string> listFolder(const std::string& path) override {
    std::vector<std::string> names;
    for (const auto& [name, entry] : folders[path + "/"]) {
      names.push_back(name);
    }
    return names;
  }
  std::optional<Identity> identityOf(const std::string& path) override {
    if (folders.find(path + "/") == folders.end() && kindOf(path) == HostKind::kMissing) {
      return std::nullopt;
    }
    const std::string real = at(path).link.empty() ? path : at(path).link;
    return Identity(0, std::hash<std::string>()(real));
  }
  std::string linkTarget(const std::string& path) override { return at(path).link; }

 private:
  Entry& at(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return folders[path.substr(0, slash + 1)][path.substr(slash + 1)];
  }
};

class PlanTest : public ::testing::Test {
 protected:
  const XMLObject* parse(const std::string& text) {
    m_Loaders.push_back(std::make_unique<TOLMXmlLoader>());
    std::list<XMLObject*> documents;
    EXPECT_NE(m_Loaders.back()->load(text, 0, documents), nullptr) << text;
    return documents.empty() ? nullptr : documents.front();
  }
  Plan plan(const std::string& config, const std::string& request = "") {
    Plan made = buildPlan({{"/c/a.xml", parse(config)}}, request.empty() ? nullptr : parse(request), host);
    made.configFolder = "/c/";
    made.requestPath = request.empty() ? "" : "/r.xml";
    return made;
  }
  Plan planWith(const PlanOptions& options, const std::string& config) {
    Plan made = buildPlan({{"/c/a.xml", parse(config)}}, nullptr, host, options);
    made.configFolder = "/c/";
    return made;
  }
  static std::string item(const std::string& id, const std::string& kinds,
                          const std::string& isDefault = "true") {
    return "<file id=\"" + id + "\"><description>D " + id + "</description><default>" + isDefault +
           "</default><tolm><os opsys=\"mac\"/><os opsys=\"linux\">" + kinds + "</os></tolm></file>";
  }
  static std::string config(const std::string& items) {
    return "<c><configure><title>Title</title></configure>" + items + "</c>";
  }
  static std::string copy(const std::string& loc, const std::string& attributes = "") {
    return "<file_copy_action><action><loc" + attributes + ">" + loc + "</loc></action></file_copy_action>";
  }
  static std::string command(const std::string& inner) {
    return "<use_extern_action><action>" + inner + "</action></use_extern_action>";
  }
  PlannedAction onlyAction(const std::string& kinds) {
    const Plan made = plan(config(item("a", kinds)));
    EXPECT_EQ(made.documents.at(0).items.at(0).actions.size(), 1U);
    return made.documents.at(0).items.at(0).actions.at(0);
  }
  static std::vector<std::string> selectionsOf(const Plan& made) {
    std::vector<std::string> all;
    for (const PlannedItem& planned : made.documents.at(0).items) {
      all.push_back(planned.id + " " + selectionName(planned.selection));
    }
    return all;
  }

  test::LogRecorder log;
  FakeHost host;

 private:
  std::vector<std::unique_ptr<TOLMXmlLoader>> m_Loaders;
};

TEST_F(PlanTest, ADefaultRunTakesDefaultItemsInTheOrderOfTheirIds) {
  const Plan made = plan(config(item("c", "") + item("a", "") + item("b", "", "True") + item("A", "", "")));
  EXPECT_THAT(selectionsOf(made), ElementsAre("A not-default", "a default", "b not-default", "c default"));
  EXPECT_EQ(made.documents[0].title, "Title");
  EXPECT_EQ(made.documents[0].items[1].opsys, "linux");
  EXPECT_EQ(made.documents[0].items[1].description, "D a");
}

TEST_F(PlanTest, ARequestPassesWhatNoDocumentHasAndNeverLooksBack) {
  const Plan made =
      plan(config(item("b", "", "false") + item("c", "")), "<r><file id=\"b\"/><file id=\"a\"/></r>");
  EXPECT_THAT(selectionsOf(made), ElementsAre("b requested", "c not-requested"));
  EXPECT_THAT(made.unmatchedIds, ElementsAre("a"));
}

TEST_F(PlanTest, OfEqualIdsARequestTakesTheFirstForEachTimeItAsks) {
  const Plan made = plan(config(item("a", copy("/x/1")) + item("a", copy("/x/2"))),
                         "<r><file id=\"a\"/><file id=\"a\"/></r>");
  EXPECT_THAT(selectionsOf(made), ElementsAre("a requested", "a requested", "a shadowed"));
  EXPECT_EQ(made.documents[0].items[0].actions.at(0).text, "/x/1");
  EXPECT_EQ(made.documents[0].items[1].actions.at(0).text, "/x/1");
}

TEST_F(PlanTest, ARequestedItemWithoutInstructionsForThisSystemStaysUnmatched) {
  const Plan made =
      plan("<c><file id=\"a\"><tolm><os opsys=\"mac\"/></tolm></file></c>", "<r><file id=\"a\"/></r>");
  EXPECT_FALSE(made.documents[0].items[0].hasOs);
  EXPECT_THAT(made.unmatchedIds, ElementsAre("a"));
}

TEST_F(PlanTest, CommentsAndSummaryOfARequestAreTold) {
  Plan made = plan(config(""), "<r><comments>x</comments></r>");
  EXPECT_EQ(made.commentsFile, "comments.txt");
  EXPECT_EQ(made.summaryFile, "summary.txt");
  made = plan(config(""),
              "<r><comments>x</comments><file id=\"comments\"><name>c.txt</name></file>"
              "<file id=\"summary\"><name>s.txt</name></file></r>");
  EXPECT_EQ(made.commentsFile, "c.txt");
  EXPECT_EQ(made.summaryFile, "s.txt");
  EXPECT_THAT(made.unmatchedIds, IsEmpty());
  EXPECT_EQ(plan(config(""), "<r><file id=\"comments\"/></r>").commentsFile, "");
}

TEST_F(PlanTest, AnItemWithoutInstructionsReadsFromThePlaceOfTheItemBefore) {
  // The reader keeps its place, which is the first item's <os>: an <os> inside of it would be used.
  const Plan made = plan(config(item("a", "<os opsys=\"linux\">" + copy("/x/y") + "</os>") +
                                "<file id=\"b\"><default>true</default></file>"));
  EXPECT_THAT(made.documents[0].items[0].actions, IsEmpty());
  EXPECT_EQ(made.documents[0].items[1].actions.size(), 1U);
  EXPECT_FALSE(plan("<c><file id=\"b\"><default>true</default></file></c>").documents[0].items[0].hasOs);
}

TEST_F(PlanTest, DocumentsWithoutATitleAreCountedAmongTheParsedOnes) {
  const Plan made = buildPlan(
      {{"/c/a.xml", nullptr}, {"/c/b.xml", parse("<c/>")}, {"/c/d.xml", parse("<c/>")}}, nullptr, host);
  EXPECT_FALSE(made.documents[0].parsed);
  EXPECT_EQ(made.documents[1].title, "Unknown_1");
  EXPECT_EQ(made.documents[2].title, "Unknown_2");
}

TEST_F(PlanTest, CopiesNameTheFilesThatMatchNow) {
  host.folders["/x/"] = {{".", {0, 9, true, "", "", false}},
                         {"a.log", {10, 5, false, "", "", false}},
                         {"b.log", {20, 4, false, "no", "", false}}};
  const PlannedAction action = onlyAction(copy("/x/*.log"));
  EXPECT_EQ(action.kind, PlannedKind::kCopy);
  ASSERT_EQ(action.files.size(), 2U);
  EXPECT_EQ(action.files[0].path, "/x/a.log");
  EXPECT_EQ(action.files[0].size, 10);
  EXPECT_EQ(action.files[0].storedAs, "a.log");
  EXPECT_EQ(action.files[1].problem, "no");
  EXPECT_EQ(onlyAction(copy("/x/*.txt")).problem, "no file matches");
}

TEST_F(PlanTest, WhoAsksForTheFilesGetsEachAtOnceAndThePlanKeepsNone) {
  host.folders["/x/"] = {{"a.log", {10, 0, false, "", "", false}}, {"b.log", {20, 0, false, "", "", false}}};
  std::vector<std::string> seen;
  PlanOptions options;
  options.onCopy = [&seen](const PlannedFile& file) {
    seen.push_back(file.path + " " + std::to_string(file.size));
  };
  const Plan made = planWith(options, config(item("a", copy("/x/*.log")) + item("b", copy("/x/*.txt"))));
  EXPECT_THAT(seen, ElementsAre("/x/a.log 10", "/x/b.log 20"));
  ASSERT_EQ(made.documents.at(0).items.size(), 2U);
  const PlannedAction& found = made.documents[0].items[0].actions.at(0);
  EXPECT_THAT(found.files, IsEmpty());
  EXPECT_EQ(found.problem, "");
  EXPECT_EQ(made.documents[0].items[1].actions.at(0).problem, "no file matches");
  EXPECT_EQ(made.totals.files, 0U);
}

// "no file matches" stood there, and nothing told that the folder refused.
TEST_F(PlanTest, AFolderThatCannotBeReadIsToldApartFromOneWithoutSuchFiles) {
  host.closedFolders.insert("/shut/");
  EXPECT_EQ(onlyAction(copy("/shut/*")).problem, "the folder can't be read");
  EXPECT_EQ(onlyAction(copy("/shut/*", " gather_newest='true'")).problem, "the folder can't be read");
}

TEST_F(PlanTest, AFileWhoseSizeCannotBeToldSaysSo) {
  host.folders["/x/"] = {{"a.log", {-1, 5, false, "", "", false}},
                         {"b.log", {-1, 5, false, "Permission denied", "", false}}};
  const PlannedAction action = onlyAction(copy("/x/*.log"));
  EXPECT_EQ(action.files.at(0).problem, "its size can't be told");
  EXPECT_EQ(action.files.at(1).problem, "Permission denied");
}

TEST_F(PlanTest, ARequestMergesTheItemsNameIntoTheStoredOne) {
  host.folders["/x/"] = {{"system.log", {1, 1, false, "", "", false}}};
  const Plan made = plan("<c><file id=\"a\"><name>report.txt</name><tolm><os opsys=\"linux\">" +
                             copy("/x/*") + "</os></tolm></file></c>",
                         "<r><file id=\"a\"/></r>");
  EXPECT_EQ(made.documents[0].items[0].actions[0].files.at(0).storedAs, "report__system__log.txt");
}

TEST_F(PlanTest, TheNewestIsOneFileAndNoneWhereTheFolderItselfIsNewer) {
  host.folders["/x/"] = {{".", {0, 9, true, "", "", false}},
                         {"a.log", {10, 5, false, "", "", false}},
                         {"b.log", {20, 4, false, "", "", false}}};
  const std::string newest = " gather_newest=\"true\"";
  EXPECT_EQ(onlyAction(copy("/x/*.log", newest)).files.at(0).path, "/x/a.log");
  const PlannedAction none = onlyAction(copy("/x/*", newest));
  EXPECT_THAT(none.files, IsEmpty());
  EXPECT_EQ(none.problem, "nothing but the folder itself matches");
}

TEST_F(PlanTest, VariablesAreExpandedAndEndlessOnesAreToldInsteadOfHanging) {
  test::ScopedEnv set("TOLM_PLAN", "/v");
  EXPECT_EQ(onlyAction(copy("$TOLM_PLAN/x.log")).expanded, "/v/x.log");
  test::ScopedEnv endless("TOLM_PLAN", "$TOLM_PLAN/");
  EXPECT_THAT(onlyAction(copy("$TOLM_PLAN/x.log")).problem, HasSubstr("a run hangs here"));
}

TEST_F(PlanTest, CapturedCommandsTellTheirResult) {
  const PlannedAction action = onlyAction(command("<args>ip.sh -s addr</args><stdout/>"));
  EXPECT_EQ(action.kind, PlannedKind::kCapture);
  EXPECT_EQ(action.expanded, "ip.sh -s addr");
  EXPECT_EQ(action.storedAs, "ip_result.txt");
  EXPECT_THAT(onlyAction(command("<args>/bin/ls -l</args><stdout/>")).problem,
              HasSubstr("the output is lost"));
}

TEST_F(PlanTest, LaunchedCommandsTellTheirOneArgument) {
  const PlannedAction action =
      onlyAction(command("<args>tool -a -b</args><temp_out>/tmp/out.txt</temp_out>"));
  EXPECT_EQ(action.kind, PlannedKind::kLaunch);
  EXPECT_EQ(action.program, "tool");
  EXPECT_EQ(action.argument, "-a -b");
  EXPECT_EQ(action.output, "/tmp/out.txt");
  EXPECT_EQ(action.storedAs, "out.txt");
  EXPECT_EQ(action.problem, "");
  EXPECT_THAT(onlyAction(command("<args>tool</args>")).problem, HasSubstr("nothing is gathered"));
  EXPECT_THAT(onlyAction(command("<temp_out>/tmp/x</temp_out>")).problem, HasSubstr("no program"));
  EXPECT_THAT(onlyAction(command("<args>ls</args><other/>")).problem, HasSubstr("a run drops this action"));
}

TEST_F(PlanTest, PropertyListsTellTheirFiles) {
  host.lists["/x/a.plist"] = {"/log/a.log"};
  host.folders["/log/"] = {{"a.log", {7, 1, false, "", "", false}}};
  const std::string kind =
      "<get_file_to_copy_action><action><path>/x/a.plist</path></action></get_file_to_copy_action>";
  const PlannedAction action = onlyAction(kind);
  EXPECT_EQ(action.kind, PlannedKind::kList);
  EXPECT_EQ(action.files.at(0).path, "/log/a.log");
  host.lists["/x/a.plist"] = {};
  EXPECT_EQ(onlyAction(kind).problem, "the property list names no file");
  host.lists.clear();
  EXPECT_EQ(onlyAction(kind).problem, "the property list can't be read");
  EXPECT_THAT(onlyAction("<get_file_to_copy_action><action/></get_file_to_copy_action>").problem,
              HasSubstr("names no property list"));
}

TEST_F(PlanTest, KindsThatARunSkipsAreLeftOut) {
  EXPECT_THAT(plan(config(item("a", "<file_copy_actions><action><loc>/x</loc></action></file_copy_actions>")))
                  .documents[0]
                  .items[0]
                  .actions,
              IsEmpty());
}

TEST_F(PlanTest, TheTextFormTellsWhatIsGatheredAndWhy) {
  host.folders["/x/"] = {{"a.log", {1536, 5, false, "", "", false}}, {"d", {4096, 5, true, "", "", false}}};
  const std::string text = planText(
      plan(config(item("a", copy("/x/*") + command("<args>ip addr</args><stdout/>")) + item("b", "", "no"))));
  EXPECT_EQ(text,
            "Documents: /c/\n\n"
            "/c/a.xml: \"Title\"\n"
            "  \"a\": selected, a default item, os linux: 2 files (1.50K) and 1 command\n"
            "    D a\n"
            "      copy /x/*\n"
            "        /x/a.log  1.50K\n"
            "        /x/d  folder\n"
            "      run ip addr\n"
            "        its output becomes ip_result.txt\n"
            "  \"b\": left out, its <default> isn't \"true\"\n\n"
            "2 files (1.50K) and 1 command\n");
}

TEST_F(PlanTest, TheJsonFormHasItsMembersInOrder) {
  host.folders["/x/"] = {{"a.log", {1536, 5, false, "", "", false}}};
  EXPECT_EQ(planJson(plan(config(item("a", copy("/x/*"))))), R"({
  "format": 1,
  "mode": "default",
  "config_folder": "/c/",
  "request": null,
  "comments_file": null,
  "summary_file": "summary.txt",
  "summary_path": "summary.txt",
  "summary_replaced_by": null,
  "failure": null,
  "unmatched_ids": [],
  "files": 1,
  "bytes": 1536,
  "commands": 0,
  "cut": false,
  "documents": [
    {
      "path": "/c/a.xml",
      "parsed": true,
      "title": "Title",
      "folder": "Title/",
      "problem": null,
      "items": [
        {
          "id": "a",
          "description": "D a",
          "selected": true,
          "reason": "default",
          "os": "linux",
          "actions": [
            {
              "action": "copy",
              "text": "/x/*",
              "expanded": "/x/*",
              "gather_newest": false,
              "files": [
                {
                  "path": "/x/a.log",
                  "stored_as": "a.log",
                  "folder": false,
                  "size": 1536,
                  "problem": null,
                  "note": null,
                  "link": null,
                  "replaced_by": null
                }
              ],
              "problem": null,
              "line": null
            }
          ],
          "files": 1,
          "bytes": 1536,
          "commands": 0
        }
      ]
    }
  ]
}
)");
}

// The plan told a result for each command, and a run stored none.
TEST_F(PlanTest, ATitleWithAVariableLosesTheOutputOfCommandsAndTheSummary) {
  setenv("TOLM_TEST_TITLE", "/x", 1);
  const auto titled = [](const std::string& title) {
    return "<c><configure><title>" + title + "</title></configure>" +
           item("a", "<use_extern_action><action><args>ls</args><stdout/></action></use_extern_action>") +
           "</c>";
  };
  const Plan lost = plan(titled("$TOLM_TEST_TITLE"));
  EXPECT_THAT(lost.documents[0].items[0].actions[0].problem, HasSubstr("expands the variable in the title"));
  EXPECT_FALSE(lost.summaryPath.has_value());
  // Nothing is expanded where the variable isn't set.
  const Plan kept = plan(titled("$TOLM_TEST_NO_SUCH"));
  EXPECT_EQ(kept.documents[0].items[0].actions[0].problem, "");
  EXPECT_TRUE(kept.summaryPath.has_value());
  unsetenv("TOLM_TEST_TITLE");
}

TEST_F(PlanTest, WhatIsReplacedIsToldWithTheLinesOfBoth) {
  host.folders["/x/"] = {{"a.log", {1, 5, false, "", "", false}}};
  host.folders["/y/"] = {{"a.log", {2, 5, false, "", "", false}}};
  const std::string text = config("\n" + item("a", copy("/x/*")) + "\n" + item("b", copy("/y/*")));
  const DocumentTree positions = parseDocumentText(text);
  const Plan made = buildPlan({{"/c/a.xml", parse(text), &positions}}, nullptr, host);
  const PlannedAction& first = made.documents[0].items[0].actions[0];
  EXPECT_EQ(first.line, 2U);
  ASSERT_TRUE(first.files.at(0).replacedBy.has_value());
  EXPECT_EQ(first.files[0].replacedBy->document, "/c/a.xml");
  EXPECT_EQ(first.files[0].replacedBy->line, 3U);
  EXPECT_EQ(made.totals.files, 1U);
  EXPECT_EQ(made.totals.bytes, 2);
  EXPECT_THAT(planText(made), HasSubstr("/x/a.log  1 bytes, of line 2, replaced by line 3 of /c/a.xml\n"));
  EXPECT_THAT(planJson(made), HasSubstr("\"line\": 3\n"));
}

TEST_F(PlanTest, AFileThatALaterUnreadableNamesakeDeletesIsTold) {
  host.folders["/x/"] = {{"a.log", {1, 5, false, "", "", false}}};
  host.folders["/y/"] = {{"a.log", {2, 5, false, "no", "", false}}};
  const Plan made = plan(config(item("a", copy("/x/*")) + item("b", copy("/y/*"))));
  EXPECT_TRUE(made.documents[0].items[0].actions[0].files.at(0).replacedBy.has_value());
  EXPECT_EQ(made.documents[0].items[1].actions[0].files.at(0).problem, "no");
  EXPECT_THAT(made.bundleNames, ElementsAre("Title/", "summary.txt"));
}

TEST_F(PlanTest, ACopyOntoAFolderOfThatNameIsNotGathered) {
  host.folders["/x/"] = {{"a", {0, 5, true, "", "", false}}};
  host.folders["/y/"] = {{"a", {2, 5, false, "", "", false}}};
  const Plan made = plan(config(item("a", copy("/x/a")) + item("b", copy("/y/a"))));
  EXPECT_EQ(made.documents[0].items[1].actions[0].files.at(0).problem,
            "the bundle has a folder of that name by then");
}

TEST_F(PlanTest, PipesAndSocketsAreStoredAsEmptyFolders) {
  host.folders["/x/"] = {{"pipe", {0, 5, false, "", "", true}}};
  const PlannedAction action = onlyAction(copy("/x/pipe"));
  EXPECT_TRUE(action.files.at(0).isFolder);
  EXPECT_EQ(action.files[0].note, "it is no file: the summary lists it, and nothing of it is stored");
  EXPECT_EQ(action.files[0].problem, "");
}

TEST_F(PlanTest, ALaunchOfAProgramThatIsNotThereGathersWhatLiesThere) {
  EXPECT_EQ(onlyAction(command("<args>none x</args><temp_out>/x/out.txt</temp_out>")).problem,
            "the program isn't there, and there is no file at its place now");
  host.folders["/x/"] = {{"out.txt", {3, 5, false, "", "", false}}};
  const PlannedAction action = onlyAction(command("<args>none x</args><temp_out>/x/out.txt</temp_out>"));
  EXPECT_EQ(action.problem, "");
  EXPECT_EQ(action.outputSize, 3);
}

TEST_F(PlanTest, AnOutputFileIsGoneForTheNextKind) {
  host.folders["/x/"] = {{"out.txt", {3, 5, false, "", "", false}}};
  const Plan made = plan(
      config(item("a", command("<args>tool x</args><temp_out>/x/out.txt</temp_out>") + copy("/x/out.txt"))));
  EXPECT_EQ(made.documents[0].items[0].actions.at(1).problem, "no file matches");
}

TEST_F(PlanTest, AnOutputFileIsGoneForALaterCopyOfItsFolder) {
  host.folders["/x/"] = {{"out.txt", {3, 5, false, "", "", false}},
                         {"rest", {4, 5, false, "", "", false}},
                         {"to-out", {3, 5, false, "", "/x/out.txt", false}}};
  host.folders["/y/"] = {{"link", {0, 5, true, "", "/x", false}}};
  host.folders["/y/link/"] = host.folders["/x/"];
  const Plan made = planWith(
      {true, false, false},
      config(item("a", command("<args>tool x</args><temp_out>/x/out.txt</temp_out>") + copy("/y/*"))));
  const std::vector<PlannedEntry>& inside = made.documents[0].items[0].actions.at(1).files.at(0).inside;
  ASSERT_EQ(inside.size(), 2U);
  EXPECT_EQ(inside[0].path, "rest");
  EXPECT_EQ(inside[1].path, "to-out");
  EXPECT_EQ(inside[1].problem, "it isn't there");
}

TEST_F(PlanTest, AFileThatTakesTheSummarysPlaceIsToldInBothForms) {
  host.folders["/x/"] = {{"summary.txt", {3, 5, false, "", "", false}}};
  const std::string text =
      "<c><configure><title>.</title></configure>\n" + item("a", copy("/x/summary.txt")) + "</c>";
  const DocumentTree positions = parseDocumentText(text);
  const Plan made =
      buildPlan({{"/c/a.xml", parse(config(""))}, {"/c/b.xml", parse(text), &positions}}, nullptr, host);
  EXPECT_THAT(planText(made),
              HasSubstr("Warning: a file takes the summary's place, by line 2 of /c/b.xml.\n"));
  const std::string json = planJson(made);
  EXPECT_THAT(json,
              HasSubstr("\"summary_replaced_by\": {\n    \"document\": \"/c/b.xml\",\n    \"line\": 2\n"));
  const RunResult result = jsonAgainstSchema(json, "plan.schema.json");
  EXPECT_EQ(result.exitStatus, 0) << result.err;
}

TEST_F(PlanTest, AFirstTitleThatIsNoFolderPutsTheSummaryOutside) {
  EXPECT_EQ(plan(config("")).summaryPath, "summary.txt");
  for (const char* title : {"", ".", "a/b", "../x"}) {
    const Plan made = plan("<c><configure><title>" + std::string(title) + "</title></configure></c>");
    EXPECT_FALSE(made.summaryPath.has_value()) << title;
    EXPECT_THAT(planText(made), HasSubstr("puts the summary outside of the bundle")) << title;
  }
  EXPECT_FALSE(plan("<c><configure><title>..</title></configure></c>").documents[0].folder.has_value());
}

TEST_F(PlanTest, ATitleThatIsTheSummarysNameFailsTheDocument) {
  const Plan made = plan("<c><configure><title>summary.txt</title></configure></c>");
  EXPECT_THAT(made.documents[0].problem, HasSubstr("counts the document as failed"));
}

// A run compares how many documents failed, those that aren't well-formed among them, with how many it has.
TEST_F(PlanTest, ARunThatEndsWithoutABundleIsTold) {
  host.folders["/x/"] = {{"summary.txt", {0, 5, false, "", "", true}}};
  const PlanSource good = {"/c/a.xml", parse(config(""))};
  const PlanSource broken = {"/c/b.xml", nullptr};
  const PlanSource failing = {"/c/c.xml", parse("<c><configure><title>.</title></configure>" +
                                                item("a", copy("/x/summary.txt")) + "</c>")};
  EXPECT_EQ(buildPlan({good, broken}, nullptr, host).failure, "");
  EXPECT_EQ(buildPlan({good, failing}, nullptr, host).failure, "");
  const Plan ended = buildPlan({good, broken, failing}, nullptr, host);
  EXPECT_EQ(ended.failure, "as many documents fail as can be used");
  EXPECT_THAT(planText(ended), HasSubstr("Warning: the run ends without a bundle: as many documents fail"));
}

TEST_F(PlanTest, ADeepPlanLooksIntoFoldersAndTellsWhereLinksLeaveThem) {
  host.folders["/x/"] = {{"d", {0, 5, true, "", "", false}}};
  host.folders["/x/d/"] = {{"f", {7, 5, false, "", "", false}},
                           {"locked", {8, 5, false, "no", "", false}},
                           {"loop", {0, 5, true, "", "/x/d", false}},
                           {"pipe", {0, 5, false, "", "", true}},
                           {"up", {0, 5, true, "", "/", false}}};
  const PlanOptions deep{true, false, false};
  const Plan made = planWith(deep, config(item("a", copy("/x/d"))));
  const std::vector<PlannedEntry>& inside = made.documents[0].items[0].actions[0].files.at(0).inside;
  ASSERT_EQ(inside.size(), 5U);
  EXPECT_EQ(inside[0].size, 7);
  EXPECT_EQ(inside[1].problem, "no");
  EXPECT_EQ(inside[2].problem, "the folder leads back into itself");
  EXPECT_TRUE(inside[3].isFolder);
  EXPECT_FALSE(inside[2].leaves);
  EXPECT_TRUE(inside[4].leaves);
  EXPECT_EQ(made.totals.files, 1U);
  EXPECT_EQ(made.totals.bytes, 7);
  EXPECT_THAT(planText(made),
              HasSubstr("up  folder, warning: a link out of the folder, to /: what lies there "
                        "is gathered\n"));
}

TEST_F(PlanTest, ADeepPlanEndsAtItsBound) {
  host.folders["/x/"] = {{"d", {0, 5, true, "", "", false}}};
  for (std::size_t i = 0; i <= DeepWalk::kMaxEntries; ++i) {
    host.folders["/x/d/"].insert({std::to_string(i), {1, 5, false, "", "", false}});
  }
  const Plan made = planWith({true, false, false}, config(item("a", copy("/x/d"))));
  EXPECT_TRUE(made.cut);
  EXPECT_LE(made.totals.files, DeepWalk::kMaxEntries);
  EXPECT_THAT(planText(made), HasSubstr("more than was looked at"));
}

TEST_F(PlanTest, APlanOfAllTellsTheActionsOfItemsThatAreLeftOut) {
  host.folders["/x/"] = {{"a.log", {1, 5, false, "", "", false}}};
  const std::string document = config(item("a", copy("/x/*"), "false"));
  EXPECT_THAT(plan(document).documents[0].items[0].actions, IsEmpty());
  const Plan made = planWith({false, true, false}, document);
  EXPECT_EQ(made.documents[0].items[0].actions.at(0).files.at(0).path, "/x/a.log");
  EXPECT_EQ(made.totals.files, 0U);
  EXPECT_THAT(made.bundleNames, ElementsAre("Title/", "summary.txt"));
}

TEST_F(PlanTest, APlanOfAClearRunTellsWhatIsDeletedAndStarted) {
  host.folders["/x/"] = {{"a.log", {1, 5, false, "", "", false}},
                         {"b.log", {1, 5, false, "no", "", false}},
                         {"d.log", {0, 5, true, "", "", false}}};
  const auto clearing = [](const std::string& loc) {
    return "<file_copy_action><action><loc gather_newest=\"true\">" + loc +
           "</loc><clear_log apply=\"true\"/></action></file_copy_action>";
  };
  const Plan made = planWith(
      {false, false, true},
      config(
          item("a", clearing("/x/*.log") + copy("/x/a.log") + clearing("/x/a.log") +
                        command("<args>ls</args><stdout/><clear_log apply=\"true\">tool $A/ b</clear_log>")) +
          item("b", clearing("/x/*"), "no")));
  const std::vector<PlannedAction>& actions = made.documents[0].items[0].actions;
  ASSERT_EQ(actions.size(), 3U);
  EXPECT_EQ(actions[0].kind, PlannedKind::kDelete);
  ASSERT_EQ(actions[0].files.size(), 3U);
  EXPECT_EQ(actions[0].files[0].problem, "");
  EXPECT_EQ(actions[0].files[1].problem, "no");
  EXPECT_EQ(actions[0].files[2].problem, "a folder stays");
  EXPECT_EQ(actions[1].problem, "no file matches");
  EXPECT_EQ(actions[2].program, "tool");
  EXPECT_EQ(actions[2].argument, "$A/ b");
  EXPECT_THAT(made.documents[0].items[1].actions, IsEmpty());
  EXPECT_THAT(planText(made), HasSubstr("A clear run: files are deleted, commands are run.\n"));
  EXPECT_EQ(jsonAgainstSchema(planJson(made), "plan.schema.json").err, "");
}

TEST_F(PlanTest, TheJsonFormOfEveryKindFitsItsSchema) {
  host.folders["/x/"] = {{"a.log", {1, 5, false, "", "", false}},
                         {"b", {1, 5, false, "no", "", false}},
                         {"d", {0, 5, true, "", "/y", false}}};
  host.folders["/x/d/"] = {{"f", {7, 5, false, "", "", false}}};
  host.lists["/x/a.plist"] = {"/x/a.log"};
  const std::string document = config(item(
      "a",
      copy("/x/*") + command("<args>ip a</args><stdout/>") +
          command("<args>tool x</args><temp_out>/tmp/o</temp_out>") +
          "<get_file_to_copy_action><action><path>/x/a.plist</path></action></get_file_to_copy_action>"));
  const DocumentTree positions = parseDocumentText(document);
  for (const char* request : {"", "<r><comments>c</comments><file id=\"a\"/><file id=\"z\"/></r>"}) {
    Plan made = buildPlan({{"/c/a\xff.xml", parse(document), &positions}, {"/c/b.xml", nullptr}},
                          *request == '\0' ? nullptr : parse(request), host, {true, true, false});
    made.configFolder = "/c/";
    made.requestPath = *request == '\0' ? "" : "/r.xml";
    const RunResult result = jsonAgainstSchema(planJson(made), "plan.schema.json");
    EXPECT_EQ(result.exitStatus, 0) << result.err;
  }
  EXPECT_NE(jsonAgainstSchema("{\"format\": 1}", "plan.schema.json").exitStatus, 0);
}

TEST_F(PlanTest, ControlCharactersNeverReachTheTextForm) {
  host.folders["/x/"] = {{"a\x1b[31m\n.log", {1, 5, false, "", "", false}}};
  EXPECT_THAT(planText(plan(config(item("a", copy("/x/*"))))),
              HasSubstr("/x/a\\x1b[31m\\x0a.log  1 bytes\n"));
}

TEST_F(PlanTest, BytesThatAreNotUtf8BecomeReplacementCharactersInTheJsonForm) {
  host.folders["/x/"] = {{"a\xff\xc0\xaf\xed\xa0\x80\"\\\n\x01\xc3\xa4.log", {1, 5, false, "", "", false}}};
  const std::string text = planJson(plan(config(item("a", copy("/x/*")))));
  EXPECT_THAT(text, HasSubstr("\\\"\\\\\\n\\u0001\xc3\xa4.log\""));
  EXPECT_THAT(text, HasSubstr("/x/a\xef\xbf\xbd"));
  for (const char byte : {'\xff', '\xc0', '\xed'}) {
    EXPECT_EQ(text.find(byte), std::string::npos);
  }
}

}  // namespace
}  // namespace halvo
