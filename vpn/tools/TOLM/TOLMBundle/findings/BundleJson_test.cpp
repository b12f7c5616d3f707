// What the commands that read bundles print as JSON, and the document that tells it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "vpn/tools/TOLM/TOLMBundle/Compare.h"
#include "vpn/tools/TOLM/TOLMBundle/OpenedBundle_test.h"
#include "vpn/tools/TOLM/TOLMBundle/Show.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/FindingsIn_test.h"

namespace halvo {
namespace {

using test::OpenedBundle;
using test::SummaryBuilder;
using test::ZipBuilder;

// The texts in backticks ahead of the types, in the tables below a heading.
std::set<std::string> toldMembers(const std::string& heading) {
  static const std::regex kName("`([a-z_]+)`");
  static const std::set<std::string> kTypes = {"number", "text", "boolean", "object", "list"};
  std::istringstream lines(test::readFile(test::sourcePath("docs/bundle-json.md")));
  std::set<std::string> names = {"format"};
  bool isThere = false;
  for (std::string line; std::getline(lines, line);) {
    isThere = line.starts_with("## ") ? line == "## " + heading : isThere;
    if (!isThere || !line.starts_with("| ")) {
      continue;
    }
    std::istringstream cells(line.substr(1));
    for (std::string cell; std::getline(cells, cell, '|');) {
      if (kTypes.contains(cell.substr(1, cell.find_first_of(" ,", 1) - 1))) {
        break;
      }
      for (std::sregex_iterator name(cell.begin(), cell.end(), kName), end; name != end; ++name) {
        names.insert((*name)[1]);
      }
    }
  }
  return names;
}

void addMembers(const nlohmann::ordered_json& json, std::set<std::string>& names) {
  for (const auto& [name, value] : json.items()) {
    if (json.is_object()) {
      names.insert(name);
    }
    if (value.is_structured()) {
      addMembers(value, names);
    }
  }
}

std::set<std::string> membersOf(const std::string& text) {
  const auto json = nlohmann::ordered_json::parse(text);
  EXPECT_EQ(json.begin().key(), "format");
  EXPECT_EQ(json["format"], 1);
  std::set<std::string> names;
  addMembers(json, names);
  return names;
}

// Some of all that can be told.
ZipBuilder bundle(const std::string& system, const std::string& id, const std::string& reason) {
  SummaryBuilder summary(system);
  summary.section("T").included("a", "a.log", "", "9 bytes").included("b", "a.log", "", "9 bytes");
  summary.included(id, "item.log", "", "2 bytes").included("lost-" + id, "gone", "", "1 bytes");
  summary.omitted("o", "o.log", "", reason);
  test::ZipEntry unknown{"T/unknown", "x"};
  unknown.method = 12;
  return ZipBuilder()
      .add({"summary.txt", summary.take()})
      .add({"T/a.log", test::banner("ls") + "sh: 1: ls: not found\n" + id + std::string(40, '\n')})
      .add({"T/item.log", "x\n"})
      .add({"T/" + id, "x\n"})
      .add(unknown);
}

TEST(BundleJsonTest, EveryMemberIsToldInTheDocument) {
  const OpenedBundle old(bundle("Debian GNU/Linux: 11.0.0", "p", "one"));
  const OpenedBundle now(bundle("Debian GNU/Linux: 12.0.0", "q", "another"));
  std::string shown;
  showJson(*now, findFailedOutputs(*now), [&shown](const std::string& piece) { shown += piece; });
  EXPECT_EQ(membersOf(shown), toldMembers("show"));
  std::string item;
  ASSERT_TRUE(showItemJson(*now, "a", [&item](const std::string& piece) { item += piece; }));
  std::set<std::string> members = toldMembers("show");
  members.insert("not_default");
  for (const std::string& name : membersOf(item)) {
    EXPECT_TRUE(members.contains(name)) << name;
  }
  const Findings findings = findProblems(
      *now, test::ruleSet("<any><line item=\"a\" pattern=\"^$\"/><line item=\"a\" pattern=\"^\"/></any>"));
  EXPECT_EQ(membersOf(findingsJson(*now, findings)), toldMembers("findings"));
  EXPECT_EQ(membersOf(comparisonJson(compareBundles(*old, *now, 10))), [] {
    std::set<std::string> told = toldMembers("compare");
    told.insert("why");  // of the unread parts, told above
    return told;
  }());
}

}  // namespace
}  // namespace halvo
