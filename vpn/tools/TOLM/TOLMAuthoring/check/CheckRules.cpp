#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRules.h"

#include "vpn/Common/Utility/PlainText.h"

namespace halvo {

const char* levelName(CheckLevel level) {
  return level == CheckLevel::kError ? "error" : "warning";
}

std::string findingLine(const std::string& file, const Finding& finding) {
  const CheckRuleRow& row = finding.rule.row();
  return withoutControls(file) + ":" + std::to_string(finding.position.line) + ":" +
         std::to_string(finding.position.column) + ": " + levelName(row.level) + ": " + finding.text + " [" +
         row.name + "]";
}

}  // namespace halvo
