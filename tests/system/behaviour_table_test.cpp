// The table of behaviours in docs/behaviours.md names tests that exist.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

// "Class.test_name" of every test in a Python program.
void addPythonTests(const std::string& text, std::set<std::string>& names) {
  const std::regex line(R"(^(?:class (\w+)|    def (test_\w+)))");
  std::string suite;
  std::istringstream lines(text);
  for (std::string row; std::getline(lines, row);) {
    std::smatch match;
    if (!std::regex_search(row, match, line)) {
      continue;
    }
    if (match[1].matched) {
      suite = match[1];
    } else {
      names.insert(suite + "." + match[2].str());
    }
  }
}

// "Suite.Name" of every test in the sources.
std::set<std::string> testNames() {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(sourcePath("tests/packaging"))) {
    const std::string name = entry.path().filename();
    if (name.size() > 8 && name.compare(name.size() - 8, 8, "_test.py") == 0) {
      addPythonTests(readFile(entry.path()), names);
    }
  }
  const std::regex declaration(R"(TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\))");
  for (const char* folder : {"vpn", "l10n", "tests"}) {
    for (const auto& entry : fs::recursive_directory_iterator(sourcePath(folder))) {
      const std::string kind = entry.path().extension();
      const std::string name = entry.path().stem();
      if ((kind != ".cpp" && kind != ".mm") || name.size() < 5 ||
          name.compare(name.size() - 5, 5, "_test") != 0) {
        continue;
      }
      const std::string text = readFile(entry.path());
      for (std::sregex_iterator match(text.begin(), text.end(), declaration), end; match != end; ++match) {
        names.insert((*match)[1].str() + "." + (*match)[2].str());
      }
    }
  }
  return names;
}

// Rows of a table: "behaviour" and "test", headings and rules left out.
struct Row {
  std::string behaviour;
  std::string test;
};

std::vector<Row> rowsOf(const std::string& text) {
  std::vector<Row> rows;
  const std::regex form(R"(^\| (.*?) \| (.*?) \|$)");
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (!line.empty() && line.front() == '|' && line != "| behaviour | test |" && line != "|---|---|") {
      const bool fits = std::regex_match(line, match, form);
      rows.push_back(fits ? Row{match[1].str(), match[2].str()} : Row{line, ""});
    }
  }
  return rows;
}

TEST(BehaviourTableTest, EveryRowNamesATestThatExists) {
  const std::set<std::string> names = testNames();
  const std::vector<Row> rows = rowsOf(readFile(sourcePath("docs/behaviours.md")));
  EXPECT_GT(rows.size(), 200U);
  std::vector<std::string> wrong;
  for (const Row& row : rows) {
    const bool quoted = row.test.size() > 2 && row.test.front() == '`' && row.test.back() == '`';
    if (row.behaviour.empty() || !quoted || names.count(row.test.substr(1, row.test.size() - 2)) == 0) {
      wrong.push_back(row.behaviour + ": " + row.test);
    }
  }
  EXPECT_THAT(wrong, IsEmpty());
}

TEST(BehaviourTableTest, ARowWithoutATestIsSeen) {
  const std::vector<Row> rows =
      rowsOf("| behaviour | test |\n|---|---|\n| something | `A.B` |\n| nothing |\n");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].test, "`A.B`");
  EXPECT_EQ(rows[1].test, "");
}

}  // namespace
}  // namespace halvo
