#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "tests/support/Files.h"
#include "tests/support/JsonSchema.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/FakeCheckHost.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

std::vector<std::string> check(const std::vector<std::string>& paths) {
  FakeCheckHost host;
  CheckRun run(host);
  for (const std::string& path : paths) {
    run.addPath(path);
  }
  run.finish();
  return run.lines();
}

// The rules in brackets at the ends of the lines.
std::vector<std::string> rulesOf(const std::vector<std::string>& lines) {
  std::vector<std::string> rules;
  for (const std::string& line : lines) {
    const std::size_t open = line.rfind('[');
    rules.push_back(line.substr(open + 1, line.size() - open - 2));
  }
  return rules;
}

std::string corpus(const std::string& name) {
  return sourcePath("fuzz/corpus/document/" + name);
}

class CheckRunTest : public ::testing::Test {
 protected:
  std::vector<std::string> checkText(const std::string& text) {
    writeFile(folder.file("a.xml"), text);
    return check({folder.file("a.xml")});
  }
  // A document of one default item that holds these kinds.
  std::vector<std::string> checkKinds(const std::string& kinds) {
    return checkText(
        "<c><configure><title>T</title></configure>\n<file id=\"a\"><description>D</description>"
        "<default>true</default>\n<tolm><os opsys=\"linux\">\n" +
        kinds + "\n</os></tolm></file></c>");
  }
  std::vector<std::string> checkCommand(const std::string& action) {
    return checkKinds("<use_extern_action><action>" + action + "</action></use_extern_action>");
  }
  static std::string simple(const std::string& title, const std::string& id) {
    return "<c><configure><title>" + title + "</title></configure><file id=\"" + id +
           "\"><description>D</description><tolm><os opsys=\"linux\"><file_copy_action><action>"
           "<loc>/tmp/x.log</loc></action></file_copy_action></os></tolm></file></c>";
  }

  TempFolder folder;
};

// Rules about files and folders, or about several documents: they have tests of their own below.
const std::vector<std::string> kRulesBeyondOneDocument = {
    "unreadable",         "too-large",          "file-name",
    "skipped-name",       "folder-as-document", "no-documents",
    "request-in-folder",  "title-duplicate",    "id-duplicate-documents",
    "request-id-unknown", "too-many-findings",
};

TEST_F(CheckRunTest, EveryRuleOfOneDocumentIsBrokenByItsDocumentAndByNothingElseOfIt) {
  // What can't be broken alone.
  const std::map<std::string, std::vector<std::string>> companions = {
      {"args-before-path", {"path-without-effect"}},
      {"path-and-plugin", {"path-without-effect", "path-without-effect"}},
      {"nested-file", {"unknown-element"}},
  };
  ScopedEnv unset("TOLM_NOT_SET", nullptr);
  for (const CheckRuleRow& row : kCheckRules) {
    const std::string rule = row.name;
    if (std::find(kRulesBeyondOneDocument.begin(), kRulesBeyondOneDocument.end(), rule) !=
        kRulesBeyondOneDocument.end()) {
      continue;
    }
    std::vector<std::string> expected = {rule};
    if (const auto more = companions.find(rule); more != companions.end()) {
      expected.insert(expected.end(), more->second.begin(), more->second.end());
    }
    const std::vector<std::string> lines = check({corpus(rule + ".xml")});
    EXPECT_THAT(rulesOf(lines), UnorderedElementsAreArray(expected)) << rule;
    for (const std::string& line : lines) {
      EXPECT_THAT(line, HasSubstr(corpus(rule + ".xml") + ":"));
    }
  }
}

// The sections of docs/check-rules.md as the rows of the table make them.
std::string documentedRules() {
  std::string text;
  std::size_t section = 0;
  for (const CheckRuleRow& row : kCheckRules) {
    if (section < kCheckRuleSections.size() &&
        std::string(row.name) == kCheckRuleSections.at(section).firstRule) {
      text += std::string("\n## ") + kCheckRuleSections.at(section).title +
              "\n\n| Rule | Level | Meaning |\n| --- | --- | --- |\n";
      ++section;
    }
    text += std::string("| `") + row.name + "` | " + levelName(row.level) + " | " + row.meaning + " |\n";
  }
  EXPECT_EQ(section, kCheckRuleSections.size()) << "a section's first rule has no row of its own";
  return text;
}

TEST_F(CheckRunTest, TheDocumentationShowsTheTableOfTheRulesAsItStands) {
  const std::string text = readFile(sourcePath("docs/check-rules.md"));
  EXPECT_EQ(text.substr(std::min(text.find("\n## "), text.size())), documentedRules());
}

TEST_F(CheckRunTest, NoTwoRulesHaveOneName) {
  std::set<std::string> names;
  for (const CheckRuleRow& row : kCheckRules) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
  }
}

TEST_F(CheckRunTest, DocumentsWithoutFaultsGiveNothing) {
  for (const char* name :
       {"clean.xml", "clean-request.xml", "clean-command.xml", "clean-launch.xml", "clean-list.xml"}) {
    EXPECT_THAT(check({corpus(name)}), IsEmpty());
  }
}

TEST_F(CheckRunTest, TheSampleDocumentsAndTheSampleRequestAreClean) {
  ScopedEnv home("HOME", "/home/someone");
  EXPECT_THAT(check({sourcePath("samples"), sourcePath("samples/request/network-only.xml")}), IsEmpty());
}

TEST_F(CheckRunTest, DocumentsOfRulesAreCheckedAsSuch) {
  EXPECT_THAT(check({sourcePath("samples/rules")}), IsEmpty());
  EXPECT_THAT(
      check({corpus("rule-fault.xml")}),
      ElementsAre(corpus("rule-fault.xml") +
                  ":5:5: error: the pattern must capture what is compared, in round brackets [rule-fault]"));
}

TEST_F(CheckRunTest, AFindingNamesFileLineColumnLevelAndRule) {
  const std::string text =
      "<c><configure><title>T</title></configure>\n"
      "  <file id=\"a\"><description>D</description>\n"
      "    <default>True</default>\n"
      "    <tolm><os "
      "opsys=\"linux\"><file_copy_action><action><loc>/x/*.log</loc></action></file_copy_action></os>"
      "</tolm></file></c>";
  EXPECT_THAT(
      checkText(text),
      ElementsAre(folder.file("a.xml") +
                  ":3:5: error: <default> holds \"True\", not exactly \"true\": a default run leaves the "
                  "item out [default-value]"));
}

TEST_F(CheckRunTest, FindingsOfADocumentComeInTheOrderOfTheirPlaces) {
  const std::vector<std::string> lines =
      checkText("<c>\n<x/>\n<file id=\"a\"><default>no</default></file>\n<y/></c>");
  EXPECT_THAT(rulesOf(lines), ElementsAre("title-missing", "unknown-element", "description-missing",
                                          "tolm-missing", "unknown-element"));
}

TEST_F(CheckRunTest, ControlCharactersNeverReachTheLine) {
  const std::string path = folder.path() + "/a\n\x1b[31m.xml";
  writeFile(path, "<c><configure><title>T</title></configure><file id=\"a&#10;\xc2\x9b\"/></c>");
  const std::vector<std::string> lines = check({path});
  ASSERT_FALSE(lines.empty());
  for (const std::string& line : lines) {
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_EQ(line.find('\x1b'), std::string::npos);
    EXPECT_EQ(line.find("\xc2\x9b"), std::string::npos);
    EXPECT_THAT(line, HasSubstr("a\\x0a\\x1b[31m.xml:1:"));
  }
}

TEST_F(CheckRunTest, LongTextsAreCutInFindings) {
  const std::vector<std::string> lines = checkText("<c>" + std::string(5000, 'x') + "</c>");
  ASSERT_FALSE(lines.empty());
  for (const std::string& line : lines) {
    EXPECT_LT(line.size(), 400U);
  }
}

TEST_F(CheckRunTest, ANearNameIsSuggested) {
  EXPECT_THAT(checkText("<c><configure><titel>T</titel></configure></c>"),
              ::testing::Contains(HasSubstr("<titel> is read by nothing (did you mean <title>?)")));
  EXPECT_THAT(checkKinds("<file-copy-action/>"),
              ::testing::Contains(HasSubstr("(did you mean <file_copy_action>?)")));
}

TEST_F(CheckRunTest, ValuesThatSayNoArePlain) {
  for (const char* no : {"false", "False", "no", "0", "off"}) {
    EXPECT_THAT(
        checkText("<c><configure><title>T</title></configure><file id=\"a\"><description>D</description>"
                  "<default>" +
                  std::string(no) +
                  "</default><tolm><os opsys=\"mac\"><file_copy_action><action><loc gather_newest=\"" + no +
                  "\">/x/*.log</loc></action></file_copy_action></os></tolm></file></c>"),
        IsEmpty())
        << no;
  }
  for (const char* odd : {" true", "true\n", "TRUE", "yes", "1", ""}) {
    EXPECT_THAT(
        rulesOf(checkText("<c><configure><title>T</title></configure><file id=\"a\">"
                          "<description>D</description><default>" +
                          std::string(odd) +
                          "</default><tolm><os opsys=\"mac\"><file_copy_action><action><loc>/x/*.log</loc>"
                          "</action></file_copy_action></os></tolm></file></c>")),
        ElementsAre("default-value"))
        << odd;
  }
}

TEST_F(CheckRunTest, ARootThatIsAnItemIsNoItem) {
  EXPECT_THAT(rulesOf(checkText("<file id=\"a\"><configure><title>T</title></configure><tolm/></file>")),
              ElementsAre("unread-attribute", "root-file", "no-items", "misplaced-element"));
}

TEST_F(CheckRunTest, ATitleOutsideOfConfigureIsMisplaced) {
  EXPECT_THAT(rulesOf(checkText("<c><title>T</title></c>")),
              ElementsAre("title-missing", "no-items", "misplaced-element"));
}

TEST_F(CheckRunTest, ConfigureIsFoundAtAnyDepthAndAsTheRoot) {
  EXPECT_THAT(rulesOf(checkText("<configure><title>T</title></configure>")), ElementsAre("no-items"));
  EXPECT_THAT(rulesOf(checkText("<c><x><configure><title>T</title></configure></x></c>")),
              ElementsAre("no-items", "unknown-element"));
}

TEST_F(CheckRunTest, ASecondTitleIsRepeated) {
  EXPECT_THAT(rulesOf(checkText("<c><configure><title>T</title><title>U</title></configure>\n"
                                "<configure><title>V</title></configure></c>")),
              ElementsAre("no-items", "repeated-element", "repeated-element"));
}

TEST_F(CheckRunTest, TheLastLocOfSeveralCounts) {
  const std::vector<std::string> lines = checkKinds(
      "<file_copy_action><action><loc>/a/x.log</loc>\n<loc>/b/x.log</loc></action></file_copy_action>");
  EXPECT_THAT(rulesOf(lines), ElementsAre("repeated-element"));
  EXPECT_THAT(lines.at(0), HasSubstr("a run gathers only what the last one names"));
}

TEST_F(CheckRunTest, OneArgumentOfALaunchIsFine) {
  EXPECT_THAT(checkCommand("<args>tool --all</args><temp_out>/tmp/x.txt</temp_out>"), IsEmpty());
  EXPECT_THAT(rulesOf(checkCommand("<args>tool &gt;/tmp/y</args><temp_out>/tmp/x.txt</temp_out>")),
              ElementsAre("launch-shell-signs"));
}

TEST_F(CheckRunTest, TheCommandOfAClearRunIsCheckedAsALaunch) {
  EXPECT_THAT(rulesOf(checkCommand(
                  "<args>ls 2&gt;&amp;1</args><stdout/><clear_log apply=\"true\">rm -r /x</clear_log>")),
              ElementsAre("launch-arguments"));
  EXPECT_THAT(rulesOf(checkCommand(
                  "<args>ls 2&gt;&amp;1</args><stdout/><clear_log apply=\"true\"> tool -x</clear_log>")),
              ElementsAre("args-leading-blank"));
  EXPECT_THAT(rulesOf(checkCommand("<args>ls 2&gt;&amp;1</args><stdout/><clear_log>tool -x</clear_log>")),
              ElementsAre("clear-log-value"));
}

TEST_F(CheckRunTest, CapturesOfOneProgramInOneKindAreAppendedAndFine) {
  EXPECT_THAT(checkKinds("<use_extern_action><action><args>ip addr 2&gt;&amp;1</args><stdout/></action>"
                         "<action><args>ip route 2&gt;&amp;1</args><stdout/></action></use_extern_action>"),
              IsEmpty());
}

TEST_F(CheckRunTest, CapturesOfOneProgramInTwoDefaultItemsReplaceEachOther) {
  const auto item = [](const std::string& id, const std::string& isDefault) {
    return "<file id=\"" + id + "\"><description>D</description><default>" + isDefault +
           "</default><tolm><os opsys=\"linux\"><use_extern_action><action><args>ip.sh "
           "-a 2&gt;&amp;1</args><stdout/></action>"
           "</use_extern_action></os></tolm></file>\n";
  };
  const std::string head = "<c><configure><title>T</title></configure>\n";
  EXPECT_THAT(rulesOf(checkText(head + item("a", "true") + item("b", "true") + "</c>")),
              ElementsAre("result-replaced"));
  EXPECT_THAT(checkText(head + item("a", "true") + item("b", "false") + "</c>"), IsEmpty());
}

TEST_F(CheckRunTest, VariablesOfCapturedCommandsAreTheShellsBusiness) {
  EXPECT_THAT(checkCommand("<args>echo $NOT_SET_ANYWHERE 2&gt;&amp;1</args><stdout/>"), IsEmpty());
}

TEST_F(CheckRunTest, AVariableWithoutANameIsUnclosed) {
  EXPECT_THAT(rulesOf(checkKinds("<file_copy_action><action><loc>$/x.log</loc></action></file_copy_action>")),
              ElementsAre("variable-unclosed"));
}

TEST_F(CheckRunTest, SwitchesOfOtherElementsAreUnreadAttributes) {
  EXPECT_THAT(
      rulesOf(checkKinds("<file_copy_action><action gather_newest=\"true\"><loc apply=\"true\">/x/y</loc>"
                         "</action></file_copy_action>")),
      ElementsAre("unread-attribute", "unread-attribute"));
}

TEST_F(CheckRunTest, NewestOfAPatternThatTheFolderItselfDoesNotMatchIsFine) {
  for (const char* pattern : {"*.log", "a*", "??*x"}) {
    EXPECT_THAT(checkKinds("<file_copy_action><action><loc gather_newest=\"true\">/x/" +
                           std::string(pattern) + "</loc></action></file_copy_action>"),
                IsEmpty())
        << pattern;
  }
  for (const char* pattern : {"*", "?", ".*", "*."}) {
    EXPECT_THAT(rulesOf(checkKinds("<file_copy_action><action><loc gather_newest=\"true\">/x/" +
                                   std::string(pattern) + "</loc></action></file_copy_action>")),
                ElementsAre("gather-newest-dots"))
        << pattern;
  }
}

TEST_F(CheckRunTest, AMissingFileIsAFindingAndTheOthersAreChecked) {
  writeFile(folder.file("b.xml"), "<c/>");
  const std::vector<std::string> lines = check({folder.file("none.xml"), folder.file("b.xml")});
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], folder.file("none.xml") +
                          ":1:1: error: the file can't be read: No such file or directory [unreadable]");
}

TEST_F(CheckRunTest, TooLargeDocumentsAreTold) {
  EXPECT_THAT(rulesOf(checkText("<c>" + std::string(std::size_t{9} << 20, ' ') + "</c>")),
              ElementsAre("too-large"));
}

TEST_F(CheckRunTest, AThousandFindingsAreTheMostOfOneDocument) {
  std::string text = "<c><configure><title>T</title></configure>";
  for (int i = 0; i < 3000; ++i) {
    text += "<x/>\n";
  }
  const std::vector<std::string> rules = rulesOf(checkText(text + "</c>"));
  EXPECT_EQ(rules.size(), FindingList::kMaxFindings + 1);
  EXPECT_EQ(std::count(rules.begin(), rules.end(), "too-many-findings"), 1);
}

TEST_F(CheckRunTest, AFolderIsCheckedByTheNameRuleOfAFolderLoad) {
  const std::string good = simple("T", "a");
  writeFile(folder.file("good.xml"), good);
  writeFile(folder.file("a.XML"), good);
  writeFile(folder.file("a.xml.xml"), good);
  writeFile(folder.file("a.xml.bak"), good);
  writeFile(folder.file("notes.txt"), "<");
  writeFile(folder.file("sub/below.xml"), "<");
  makeFolders(folder.file("x.xml"));
  const std::vector<std::string> lines = check({folder.path() + "/"});
  EXPECT_THAT(rulesOf(lines), ElementsAre("file-name", "skipped-name", "file-name", "folder-as-document"));
  EXPECT_THAT(lines.at(0), HasSubstr(folder.file("a.XML") + ":1:1: error:"));
  EXPECT_THAT(lines.at(3), HasSubstr(folder.file("x.xml") + ":1:1: error:"));
}

TEST_F(CheckRunTest, AFolderWithoutDocumentsIsAnError) {
  makeFolders(folder.file("empty"));
  EXPECT_THAT(rulesOf(check({folder.file("empty")})), ElementsAre("no-documents"));
}

TEST_F(CheckRunTest, ADocumentGivenByAWrongNameIsToldButARequestMayHaveAnyName) {
  writeFile(folder.file("a.txt"), simple("T", "a"));
  writeFile(folder.file("r.txt"), "<r><file id=\"a\"/></r>");
  EXPECT_THAT(rulesOf(check({folder.file("a.txt")})), ElementsAre("file-name"));
  EXPECT_THAT(check({folder.file("r.txt")}), IsEmpty());
}

TEST_F(CheckRunTest, ARequestInAFolderOfDocumentsIsTold) {
  writeFile(folder.file("a.xml"), simple("T", "a"));
  writeFile(folder.file("r.xml"), "<r><file id=\"a\"/></r>");
  EXPECT_THAT(rulesOf(check({folder.path()})), ElementsAre("request-in-folder"));
}

TEST_F(CheckRunTest, TitlesAndIdsAreComparedAcrossDocuments) {
  writeFile(folder.file("a.xml"), simple("T", "one"));
  writeFile(folder.file("b.xml"), simple("T", "one"));
  writeFile(folder.file("c.xml"), simple("U", "two"));
  const std::vector<std::string> lines = check({folder.path()});
  EXPECT_THAT(rulesOf(lines), ElementsAre("title-duplicate", "id-duplicate-documents"));
  EXPECT_THAT(lines.at(0), HasSubstr(folder.file("b.xml") + ":1:15: warning: the title \"T\" is that of " +
                                     folder.file("a.xml")));
}

TEST_F(CheckRunTest, TheSameFileGivenTwiceIsCheckedOnce) {
  writeFile(folder.file("a.xml"), simple("T", "one"));
  EXPECT_THAT(check({folder.file("a.xml"), folder.path(), folder.path() + "/./a.xml"}), IsEmpty());
}

TEST_F(CheckRunTest, ARequestForAnItemOfNoDocumentIsToldWhereDocumentsAreGivenAlong) {
  writeFile(folder.file("r.xml"),
            "<r>\n<file id=\"a\"/>\n <file id=\"b\"/><file id=\"comments\"/>"
            "<comments>x</comments></r>");
  EXPECT_THAT(check({folder.file("r.xml")}), IsEmpty());
  writeFile(folder.file("docs/a.xml"), simple("T", "a"));
  const std::vector<std::string> lines = check({folder.file("r.xml"), folder.file("docs")});
  EXPECT_THAT(rulesOf(lines), ElementsAre("request-id-unknown"));
  EXPECT_THAT(lines.at(0), HasSubstr(folder.file("r.xml") + ":3:2: warning: the id \"b\""));
}

TEST_F(CheckRunTest, WarningsAloneAreNoErrors) {
  writeFile(folder.file("a.xml"), "<c/>");
  FakeCheckHost host;
  CheckRun run(host);
  run.addPath(folder.file("a.xml"));
  run.finish();
  EXPECT_EQ(run.lines().size(), 2U);
  EXPECT_FALSE(run.hasErrors());
}

TEST_F(CheckRunTest, TheJsonFormHoldsEachFindingWithItsPlace) {
  writeFile(folder.file("a.xml"), "<c>\n <titel/></c>");
  FakeCheckHost host;
  CheckRun run(host);
  run.addPath(folder.file("a.xml"));
  run.finish();
  const nlohmann::json all = nlohmann::json::parse(run.json());
  ASSERT_EQ(all.size(), run.lines().size());
  EXPECT_EQ(all[2], nlohmann::json({{"file", folder.file("a.xml")},
                                    {"line", 2},
                                    {"column", 2},
                                    {"rule", "unknown-element"},
                                    {"level", "warning"},
                                    {"text",
                                     "<titel> is read by nothing (did you mean <title>?): a run ignores "
                                     "it"}}));
  CheckRun none(host);
  none.finish();
  EXPECT_EQ(none.json(), "[]\n");
}

TEST_F(CheckRunTest, TheJsonFormOfAHostileNameReachesNoTerminal) {
  writeFile(folder.file("\xc2\x9b.xml"), "<c>");
  FakeCheckHost host;
  CheckRun run(host);
  run.addPath(folder.file("\xc2\x9b.xml"));
  run.finish();
  EXPECT_NE(run.json().find("/\\u009b.xml"), std::string::npos) << run.json();
  EXPECT_EQ(run.json().find("\xc2\x9b"), std::string::npos);
}

TEST_F(CheckRunTest, TheJsonFormOfEveryRuleFitsItsSchema) {
  FakeCheckHost host;
  CheckRun run(host);
  writeFile(folder.file("a\xff.xml"), "<c>");
  run.addPath(folder.file("a\xff.xml"));
  run.addPath(sourcePath("fuzz/corpus/document"));
  run.finish();
  const RunResult result = jsonAgainstSchema(run.json(), "check.schema.json");
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_NE(jsonAgainstSchema("[{\"file\": 1}]", "check.schema.json").exitStatus, 0);
}

TEST_F(CheckRunTest, ARequestWithDescriptionsIsARequest) {
  EXPECT_THAT(rulesOf(checkText("<r><file id=\"a\"><description>D</description></file></r>")),
              ElementsAre("misplaced-element"));
}

TEST_F(CheckRunTest, AStdoutThatSaysNoIsToldToCaptureAllTheSame) {
  for (const char* no : {"false", "no", "0"}) {
    const std::vector<std::string> lines =
        checkCommand("<args>ls 2&gt;&amp;1</args><stdout>" + std::string(no) + "</stdout>");
    EXPECT_THAT(rulesOf(lines), ElementsAre("stdout-text"));
    EXPECT_THAT(lines.at(0), HasSubstr("a run captures the output wherever a <stdout> stands"));
  }
  EXPECT_THAT(rulesOf(checkCommand("<args>ls 2&gt;&amp;1</args><stdout>true</stdout>")),
              ElementsAre("ignored-text"));
}

TEST_F(CheckRunTest, ALineBreakBehindACapturedCommandIsAWarningAndInItsFirstWordAnError) {
  EXPECT_THAT(rulesOf(checkCommand("<args>ls -l 2&gt;&amp;1\n</args><stdout/>")),
              ElementsAre("args-outer-blanks"));
  EXPECT_THAT(rulesOf(checkCommand("<args>ls\n</args><stdout/>")), ::testing::Contains("text-blanks"));
  EXPECT_THAT(rulesOf(checkCommand("<args>tool x\n</args><temp_out>/tmp/x</temp_out>")),
              ::testing::Contains("text-blanks"));
}

// A blank behind a program that is started directly was told as a part of its name.
TEST_F(CheckRunTest, ABlankBehindAStartedProgramIsItsEmptyArgumentAndNoMore) {
  EXPECT_THAT(rulesOf(checkCommand("<args>tool </args><temp_out>/tmp/x</temp_out>")),
              ElementsAre("launch-empty-argument"));
  EXPECT_THAT(rulesOf(checkCommand("<args>tool x </args><temp_out>/tmp/x</temp_out>")),
              ::testing::Contains("text-blanks"));
}

// A known element in the wrong place was told to be meant for itself.
TEST_F(CheckRunTest, AnElementInTheWrongPlaceIsNotSuggestedForItself) {
  const std::vector<std::string> nested = checkText(
      "<c><configure><title>T</title></configure><file id=\"a\"><description>D</description><tolm><os "
      "opsys=\"linux\"><os opsys=\"linux\"/></os></tolm></file></c>");
  EXPECT_THAT(nested,
              ::testing::Contains(::testing::AllOf(HasSubstr("<os> is no kind of action: a run skips it"),
                                                   HasSubstr("takes it for an item behind this one"))));
  EXPECT_THAT(checkCommand("<args>ls 2&gt;&amp;1</args><stdout/><loc>/x</loc>"),
              ::testing::Contains(HasSubstr("<loc> may not stand in an action of <use_extern_action>: ")));
}

TEST_F(CheckRunTest, OneArgumentWithABlankIsAWarning) {
  const std::vector<std::string> lines =
      checkCommand("<args>tool my file</args><temp_out>/tmp/x.txt</temp_out>");
  EXPECT_THAT(rulesOf(lines), ElementsAre("launch-arguments"));
  EXPECT_THAT(lines.at(0), HasSubstr(": warning: "));
}

TEST_F(CheckRunTest, BracesAroundAVariableAreToldWhateverIsSet) {
  for (const char* path : {"${HOME}/x.log", "/a/${HOME}/x.log"}) {
    EXPECT_THAT(rulesOf(checkKinds("<file_copy_action><action><loc>" + std::string(path) +
                                   "</loc></action></file_copy_action>")),
                ElementsAre("variable-braces"));
  }
  EXPECT_THAT(checkCommand("<args>ls ${HOME}/x 2&gt;&amp;1</args><stdout/>"), IsEmpty());
}

TEST_F(CheckRunTest, WildcardsOfOtherProgramsAreTold) {
  for (const char* pattern :
       {"/x/{a,b}.log", "/x/[a-c].log", "/x/a.log,/x/b.log", "/x/*.log,*.txt", "/x/**"}) {
    EXPECT_THAT(rulesOf(checkKinds("<file_copy_action><action><loc>" + std::string(pattern) +
                                   "</loc></action></file_copy_action>")),
                ElementsAre("foreign-wildcard"))
        << pattern;
  }
  EXPECT_THAT(checkKinds("<file_copy_action><action><loc>/x/a,b.log</loc></action></file_copy_action>"),
              IsEmpty());
}

TEST_F(CheckRunTest, AClearActionOnTheSystemOrAHomeIsAnError) {
  const auto clearing = [](const std::string& path) {
    return "<file_copy_action><action><loc>" + path +
           "</loc><clear_log apply=\"true\"/></action></file_copy_action>";
  };
  for (const char* path : {"/etc/*", "/usr/share/x.log", "$HOME/*", "/home/me/*", "/root/*", "/*"}) {
    EXPECT_THAT(rulesOf(checkKinds(clearing(path))), ::testing::Contains("clear-system")) << path;
  }
  for (const char* path : {"$HOME/.halvo/*.log", "/var/log/x.log", "/home/me/logs/*"}) {
    EXPECT_THAT(checkKinds(clearing(path)), IsEmpty()) << path;
  }
  EXPECT_THAT(rulesOf(checkCommand("<args>ls 2&gt;&amp;1</args><stdout/>"
                                   "<clear_log apply=\"true\">rm /etc/passwd</clear_log>")),
              ElementsAre("clear-system"));
  EXPECT_THAT(checkCommand("<args>ls 2&gt;&amp;1</args><stdout/>"
                           "<clear_log apply=\"true\">rm /var/log/x.log</clear_log>"),
              IsEmpty());
}

TEST_F(CheckRunTest, ProgramsAreLookedForOnlyWhereTheInstructionsAreForThisSystem) {
  const auto item = [](const std::string& system) {
    return "<c><configure><title>T</title></configure><file id=\"a\"><description>D</description>"
           "<default>true</default><tolm><os opsys=\"" +
           system +
           "\"><use_extern_action><action><args>absent-program 2&gt;&amp;1</args><stdout/></action>"
           "</use_extern_action></os></tolm></file></c>";
  };
  EXPECT_THAT(rulesOf(checkText(item("linux"))), ElementsAre("program-missing"));
  EXPECT_THAT(checkText(item("mac")), IsEmpty());
}

}  // namespace
}  // namespace halvo
