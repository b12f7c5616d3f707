#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "tests/support/LogRecorder.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {
namespace {

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
  ResultCode findNewest(const std::string& folder, const std::string& pattern,
                        helperUtil::NewestFile& newest) override {
    std::list<helperUtil::FileFindEntry> entries;
    if (const ResultCode rc = findAll(folder, pattern, entries); rc != 0) {
      return rc;
    }
    for (const helperUtil::FileFindEntry& entry : entries) {
      if (entry.modifiedTime >= newest.modifiedTime) {
        newest = {entry.name, entry.modifiedTime};
      }
    }
    return 0;
  }
  std::int64_t sizeOf(const std::string& path) override { return at(path).size; }
  bool isFolder(const std::string& path) override { return at(path).folder; }
  std::string readProblem(const std::string& path) override { return at(path).problem; }
  ResultCode logLocations(const std::string& file, std::vector<std::string>& locations) override {
    if (lists.find(file) == lists.end()) {
      return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
    }
    locations = lists[file];
    return 0;
  }

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
  host.folders["/x/"] = {
      {".", {0, 9, true, ""}}, {"a.log", {10, 5, false, ""}}, {"b.log", {20, 4, false, "no"}}};
  const PlannedAction action = onlyAction(copy("/x/*.log"));
  EXPECT_EQ(action.kind, PlannedKind::kCopy);
  ASSERT_EQ(action.files.size(), 2U);
  EXPECT_EQ(action.files[0].path, "/x/a.log");
  EXPECT_EQ(action.files[0].size, 10);
  EXPECT_EQ(action.files[0].storedAs, "a.log");
  EXPECT_EQ(action.files[1].problem, "no");
  EXPECT_EQ(onlyAction(copy("/x/*.txt")).problem, "no file matches");
}

// "no file matches" stood there, and nothing told that the folder refused.
TEST_F(PlanTest, AFolderThatCannotBeReadIsToldApartFromOneWithoutSuchFiles) {
  host.closedFolders.insert("/shut/");
  EXPECT_EQ(onlyAction(copy("/shut/*")).problem, "the folder can't be read");
  EXPECT_EQ(onlyAction(copy("/shut/*", " gather_newest='true'")).problem, "the folder can't be read");
}

TEST_F(PlanTest, AFileWhoseSizeCannotBeToldSaysSo) {
  host.folders["/x/"] = {{"a.log", {-1, 5, false, ""}}, {"b.log", {-1, 5, false, "Permission denied"}}};
  const PlannedAction action = onlyAction(copy("/x/*.log"));
  EXPECT_EQ(action.files.at(0).problem, "its size can't be told");
  EXPECT_EQ(action.files.at(1).problem, "Permission denied");
}

TEST_F(PlanTest, ARequestMergesTheItemsNameIntoTheStoredOne) {
  host.folders["/x/"] = {{"system.log", {1, 1, false, ""}}};
  const Plan made = plan("<c><file id=\"a\"><name>report.txt</name><tolm><os opsys=\"linux\">" +
                             copy("/x/*") + "</os></tolm></file></c>",
                         "<r><file id=\"a\"/></r>");
  EXPECT_EQ(made.documents[0].items[0].actions[0].files.at(0).storedAs, "report__system__log.txt");
}

TEST_F(PlanTest, TheNewestIsOneFileAndNoneWhereTheFolderItselfIsNewer) {
  host.folders["/x/"] = {
      {".", {0, 9, true, ""}}, {"a.log", {10, 5, false, ""}}, {"b.log", {20, 4, false, ""}}};
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
  EXPECT_THAT(onlyAction(command("<args>tool</args>")).problem, HasSubstr("nothing is gathered"));
  EXPECT_THAT(onlyAction(command("<temp_out>/tmp/x</temp_out>")).problem, HasSubstr("no program"));
  EXPECT_THAT(onlyAction(command("<args>ls</args><other/>")).problem, HasSubstr("a run drops this action"));
}

TEST_F(PlanTest, PropertyListsTellTheirFiles) {
  host.lists["/x/a.plist"] = {"/log/a.log"};
  host.folders["/log/"] = {{"a.log", {7, 1, false, ""}}};
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
  host.folders["/x/"] = {{"a.log", {1536, 5, false, ""}}, {"d", {4096, 5, true, ""}}};
  const std::string text = planText(
      plan(config(item("a", copy("/x/*") + command("<args>ip addr</args><stdout/>")) + item("b", "", "no"))));
  EXPECT_EQ(text,
            "Documents: /c/\n\n"
            "/c/a.xml: \"Title\"\n"
            "  \"a\": selected, a default item, os linux\n"
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
  host.folders["/x/"] = {{"a.log", {1536, 5, false, ""}}};
  EXPECT_EQ(planJson(plan(config(item("a", copy("/x/*"))))), R"({
  "format": 1,
  "mode": "default",
  "config_folder": "/c/",
  "request": null,
  "comments_file": null,
  "summary_file": "summary.txt",
  "unmatched_ids": [],
  "documents": [
    {
      "path": "/c/a.xml",
      "parsed": true,
      "title": "Title",
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
                  "problem": null
                }
              ],
              "problem": null
            }
          ]
        }
      ]
    }
  ]
}
)");
}

TEST_F(PlanTest, ControlCharactersNeverReachTheTextForm) {
  host.folders["/x/"] = {{"a\x1b[31m\n.log", {1, 5, false, ""}}};
  EXPECT_THAT(planText(plan(config(item("a", copy("/x/*"))))),
              HasSubstr("/x/a\\x1b[31m\\x0a.log  1 bytes\n"));
}

TEST_F(PlanTest, BytesThatAreNotUtf8BecomeReplacementCharactersInTheJsonForm) {
  host.folders["/x/"] = {{"a\xff\xc0\xaf\xed\xa0\x80\"\\\n\x01\xc3\xa4.log", {1, 5, false, ""}}};
  const std::string text = planJson(plan(config(item("a", copy("/x/*")))));
  EXPECT_THAT(text, HasSubstr("\\\"\\\\\\n\\u0001\xc3\xa4.log\""));
  EXPECT_THAT(text, HasSubstr("/x/a\xef\xbf\xbd"));
  for (const char byte : {'\xff', '\xc0', '\xed'}) {
    EXPECT_EQ(text.find(byte), std::string::npos);
  }
}

}  // namespace
}  // namespace halvo
