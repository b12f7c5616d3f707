// The rules that are built in, and what the sample instruction documents gather. Examples in rules and the
// outputs in testdata/ are in the form that the documents' commands print, behind their filter.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/relaxng.h>
#include <libxml/tree.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Subprocess.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/FindingsIn_test.h"

namespace halvo {
namespace {

using test::Files;
using test::findIn;
using test::idsOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSubsetOf;
using ::testing::Not;

// What an instruction document gathers by a command on one system.
struct Command {
  std::string item;
  std::string line;
  [[nodiscard]] std::string outputName() const { return line.substr(0, line.find(' ')) + "_result.txt"; }
};

struct Gathered {
  std::set<std::string> items;
  std::vector<Command> commands;
};

std::string attributeText(xmlNode* node, const char* name) {
  xmlChar* const value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
  std::string text = value == nullptr ? "" : reinterpret_cast<const char*>(value);
  xmlFree(value);
  return text;
}

void noteElement(xmlNode* node, const std::string& system, std::string item, Gathered& gathered) {
  const std::string name = reinterpret_cast<const char*>(node->name);
  if (name == "file") {
    item = attributeText(node, "id");
  } else if (name == "os") {
    if (attributeText(node, "opsys") != system) {
      return;
    }
    gathered.items.insert(item);
  } else if (name == "args") {
    xmlChar* const content = xmlNodeGetContent(node);
    gathered.commands.push_back({item, reinterpret_cast<const char*>(content)});
    xmlFree(content);
  }
  for (xmlNode* child = xmlFirstElementChild(node); child != nullptr; child = xmlNextElementSibling(child)) {
    noteElement(child, system, item, gathered);
  }
}

// What all sample documents gather on "linux" or "mac".
Gathered gatheredOn(const std::string& system) {
  Gathered gathered;
  for (const auto& entry : std::filesystem::directory_iterator(test::sourcePath("samples"))) {
    if (entry.path().extension() == ".xml") {
      xmlDoc* const document = xmlReadFile(entry.path().c_str(), nullptr, XML_PARSE_NONET);
      noteElement(xmlDocGetRootElement(document), system, "", gathered);
      xmlFreeDoc(document);
    }
  }
  return gathered;
}

// The files of a machine, each behind a line "=== ITEM FILE", as a folder for each item.
std::map<std::string, Files> machine(const std::vector<std::string>& documents) {
  std::map<std::string, Files> folders;
  for (const std::string& document : documents) {
    std::istringstream lines(
        test::readFile(test::sourcePath("vpn/tools/TOLM/TOLMBundle/findings/testdata/" + document)));
    RuleExample::File* file = nullptr;
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("=== ", 0) == 0) {
        std::istringstream words(line.substr(4));
        RuleExample::File next;
        words >> next.item >> next.name;
        Files& files = folders[next.item];
        files.push_back(next);
        file = &files.back();
      } else if (file != nullptr) {
        file->text += line + "\n";
      }
    }
  }
  return folders;
}

std::map<std::string, Files> healthyMachine(const std::string& system) {
  return system == "linux" ? machine({"healthy_linux.txt", "healthy_linux_network.txt"})
                           : machine({"healthy_mac.txt"});
}

RuleExample::File* findFile(std::map<std::string, Files>& folders, const std::string& item,
                            const std::string& name) {
  for (RuleExample::File& file : folders[item]) {
    if (file.name == name) {
      return &file;
    }
  }
  return nullptr;
}

// What the engine writes ahead of a command's output.
std::string banner(const std::string& commandLine) {
  const std::string stars(75, '*');
  return "\n\r" + stars + "\n\"" + commandLine + "\" output:\n" + stars + "\n\r\n";
}

void noteItems(const Condition& condition, const RuleSet& rules, std::set<std::string>& items) {
  items.insert(condition.selector.items.begin(), condition.selector.items.end());
  if (condition.otherProbe >= 0) {
    const FileSelector& other = rules.probes()[static_cast<std::size_t>(condition.otherProbe)].selector;
    items.insert(other.items.begin(), other.items.end());
  }
  for (const Condition& child : condition.children) {
    noteItems(child, rules, items);
  }
}

std::string throughFilter(const std::string& text) {
  test::RunOptions options;
  options.input = text;
  return test::runProgram({"awk", "-f", test::sourcePath("samples/filter/without-secrets.awk")}, options).out;
}

class BuiltInRulesTest : public ::testing::Test {
 protected:
  BuiltInRulesTest() { m_Rules.addBuiltIn(); }

  RuleSet m_Rules;
};

TEST_F(BuiltInRulesTest, ThereAreManyAndNoneHasAFault) {
  RuleSet rules;
  std::vector<RuleFault> faults;
  for (const std::string& document : builtInRules()) {
    rules.add(document, faults);
  }
  for (const RuleFault& fault : faults) {
    ADD_FAILURE() << fault.line << ": " << fault.text;
  }
  EXPECT_GE(rules.rules().size(), 25U);
}

TEST_F(BuiltInRulesTest, EveryRuleIsSeenInItsExampleAndNotInTheOther) {
  for (const Rule& rule : m_Rules.rules()) {
    std::set<bool> kinds;
    for (const RuleExample& example : rule.examples) {
      kinds.insert(example.shows);
      // Two items may have a file of one name.
      std::map<std::string, Files> folders;
      for (const RuleExample::File& file : example.files) {
        folders[file.item].push_back(file);
      }
      const std::vector<std::string> ids = idsOf(findIn(folders, m_Rules));
      const std::string first = example.files.empty() ? "" : example.files[0].text;
      if (example.shows) {
        EXPECT_THAT(ids, Contains(rule.id)) << first;
      } else {
        EXPECT_THAT(ids, Not(Contains(rule.id))) << first;
      }
    }
    EXPECT_EQ(kinds.size(), 2U) << rule.id << " needs an example of each kind";
  }
}

TEST_F(BuiltInRulesTest, EveryItemAndOutputOfARuleIsOneThatTheDocumentsGather) {
  Gathered gathered = gatheredOn("linux");
  const Gathered onMac = gatheredOn("mac");
  gathered.items.insert(onMac.items.begin(), onMac.items.end());
  gathered.commands.insert(gathered.commands.end(), onMac.commands.begin(), onMac.commands.end());
  std::set<std::string> outputs;
  std::set<std::string> filtered;
  for (const Command& command : gathered.commands) {
    const std::string output = command.item + " " + command.outputName();
    outputs.insert(output);
    if (command.line.find("without-secrets.awk") != std::string::npos) {
      filtered.insert(output);
    }
  }
  for (const Rule& rule : m_Rules.rules()) {
    std::set<std::string> items;
    noteItems(rule.condition, m_Rules, items);
    EXPECT_THAT(items, IsSubsetOf(gathered.items)) << rule.id;
    for (const RuleExample& example : rule.examples) {
      for (const RuleExample::File& file : example.files) {
        const std::string output = file.item + " " + file.name;
        EXPECT_EQ(gathered.items.count(file.item), 1U) << rule.id << ": " << output;
        if (file.name.find("_result.txt") != std::string::npos) {
          EXPECT_EQ(outputs.count(output), 1U) << rule.id << ": " << output;
        }
        if (filtered.count(output) != 0) {
          EXPECT_EQ(throughFilter(file.text), file.text) << rule.id << ": " << output;
        }
      }
    }
  }
}

TEST_F(BuiltInRulesTest, TheDocumentationListsEachWithItsSeverity) {
  const std::string documentation = test::readFile(test::sourcePath("docs/rules.md"));
  for (const Rule& rule : m_Rules.rules()) {
    const std::string::size_type row = documentation.find("\n| `" + rule.id + "`");
    ASSERT_NE(row, std::string::npos) << rule.id;
    const std::string line = documentation.substr(row + 1, documentation.find('\n', row + 1) - row - 1);
    EXPECT_THAT(line, HasSubstr("| " + severityText(rule.severity) + " |"));
  }
}

// Both machines have several interfaces, links, disks and name servers, and in their logs what is told on
// every healthy machine. Nothing that is gathered is left out.
class HealthyMachineTest : public BuiltInRulesTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(HealthyMachineTest, ShowsNoErrorAndNoWarning) {
  std::map<std::string, Files> folders = healthyMachine(GetParam());
  const Gathered gathered = gatheredOn(GetParam());
  ASSERT_THAT(gathered.commands, Not(IsEmpty()));
  for (const std::string& item : gathered.items) {
    EXPECT_THAT(folders[item].empty() && item != "client-crash" ? item : "", IsEmpty());
  }
  for (const Command& command : gathered.commands) {
    RuleExample::File* const file = findFile(folders, command.item, command.outputName());
    ASSERT_NE(file, nullptr) << command.item << " " << command.outputName();
    file->text.insert(0, banner(command.line));
  }
  for (const KnownProblem& finding : findIn(folders, m_Rules)) {
    EXPECT_EQ(finding.severity, Severity::kInfo)
        << finding.id << ": " << (finding.evidence.empty() ? "" : finding.evidence[0].text);
  }
}

INSTANTIATE_TEST_SUITE_P(Systems, HealthyMachineTest, ::testing::Values("linux", "mac"),
                         [](const auto& instance) { return instance.param; });

// A command that a machine doesn't have leaves its shell's complaint, and one that the user may not run its
// own.
TEST_F(BuiltInRulesTest, AMachineWithoutAnyOfTheProgramsShowsNoError) {
  std::map<std::string, Files> folders;
  for (const Command& command : gatheredOn("linux").commands) {
    const std::string program = command.line.substr(0, command.line.find(' '));
    folders[command.item].push_back(
        {command.item, command.outputName(), banner(command.line) + "sh: 1: " + program + ": not found\n"});
  }
  folders["client-logs"].push_back({"client-logs", "agent.log", "2026-03-15 10:40:00 agent: connected\n"});
  EXPECT_THAT(idsOf(findIn(folders, m_Rules)), IsEmpty());
}

// A request for the network alone gathers no log of the client.
TEST_F(BuiltInRulesTest, WhatWasNotAskedForIsNoFault) {
  EXPECT_THAT(findIn(Files{{"network-names", "getent_result.txt", "::1 STREAM localhost\n"}}, m_Rules),
              IsEmpty());
}

TEST_F(BuiltInRulesTest, EveryDocumentFitsTheSchema) {
  const std::string schema = test::sourcePath("samples/rules/rules.rng");
  xmlRelaxNGParserCtxt* const parser = xmlRelaxNGNewParserCtxt(schema.c_str());
  xmlRelaxNG* const grammar = xmlRelaxNGParse(parser);
  ASSERT_NE(grammar, nullptr);
  const auto fits = [grammar](const std::string& text) {
    xmlDoc* const document =
        xmlReadMemory(text.data(), static_cast<int>(text.size()), "", nullptr, XML_PARSE_NONET);
    xmlRelaxNGValidCtxt* const validator = xmlRelaxNGNewValidCtxt(grammar);
    const int answer = xmlRelaxNGValidateDoc(validator, document);
    xmlRelaxNGFreeValidCtxt(validator);
    xmlFreeDoc(document);
    return answer == 0;
  };
  const auto ruleAround = [](const std::string& condition) {
    return R"(<rules><rule id="r" severity="error"><title>T</title><advice>A</advice>)" + condition +
           "</rule></rules>";
  };
  for (const std::string& document : builtInRules()) {
    EXPECT_TRUE(fits(document)) << document.substr(0, 200);
  }
  EXPECT_FALSE(fits(ruleAround("<line item=\"a\"/>")));
  EXPECT_FALSE(fits(ruleAround("<size item=\"a\" pattern=\"x\" above=\"1\"/>")));
  EXPECT_TRUE(fits(ruleAround("<line item=\"a\" pattern=\"x\"/>")));
  EXPECT_TRUE(fits(ruleAround(R"(<time item="a" pattern="(x) until" is="past" by="60"/>)")));
  EXPECT_FALSE(fits(ruleAround(R"(<line item="a" pattern="x" by="60"/>)")));
  xmlRelaxNGFree(grammar);
  xmlRelaxNGFreeParserCtxt(parser);
}

}  // namespace
}  // namespace halvo
