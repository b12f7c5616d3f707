// The rules that `tmtolm check` knows, and a finding: one rule broken at one place of a document.
//
// Plain values; any thread may use them.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRuleTable.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"

namespace halvo {

// A rule by its name. A name that has no row in the table doesn't compile.
class CheckRule {
 public:
  // NOLINTNEXTLINE: meant to be implicit, so that a check names the rule and nothing else.
  consteval CheckRule(const char* name) : m_nRow(indexOf(name)) {}

  [[nodiscard]] constexpr const CheckRuleRow& row() const { return kCheckRules[m_nRow]; }
  [[nodiscard]] constexpr bool operator==(const CheckRule& other) const = default;

 private:
  static consteval std::size_t indexOf(std::string_view name) {
    std::size_t index = 0;
    // Past the end of the array, which no constant expression may read.
    while (name != kCheckRules.at(index).name) {
      ++index;
    }
    return index;
  }

  std::size_t m_nRow;
};

// One fault of one document.
struct Finding {
  CheckRule rule;
  Position position;
  // What is wrong and what a run would do with it; one line.
  std::string text;
};

// "FILE:LINE:COLUMN: error|warning: TEXT [RULE]", without a line end. Control characters of the file's
// name are escaped, so that a finding is always one line.
std::string findingLine(const std::string& file, const Finding& finding);

// "error" or "warning".
const char* levelName(CheckLevel level);

}  // namespace halvo
