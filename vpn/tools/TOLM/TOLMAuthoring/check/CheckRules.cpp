#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRules.h"

#include "vpn/Common/Utility/PlainText.h"

namespace halvo {

namespace {

constexpr CheckLevel kE = CheckLevel::kError;
constexpr CheckLevel kW = CheckLevel::kWarning;

constexpr std::array<CheckRuleRow, static_cast<std::size_t>(CheckRule::kCount)> kRows = {{
    {"unreadable", kE},
    {"too-large", kE},
    {"not-well-formed", kE},
    {"parser-complaint", kW},
    {"file-name", kE},
    {"skipped-name", kW},
    {"folder-as-document", kE},
    {"no-documents", kE},
    {"request-in-folder", kW},
    {"too-many-findings", kE},
    {"unknown-element", kW},
    {"misplaced-element", kE},
    {"repeated-element", kE},
    {"found-deep", kW},
    {"ignored-text", kW},
    {"unread-attribute", kW},
    {"nested-tags", kE},
    {"text-blanks", kE},
    {"variable-unclosed", kE},
    {"variable-unset", kW},
    {"no-items", kW},
    {"nested-file", kE},
    {"title-missing", kW},
    {"title-empty", kE},
    {"title-path", kE},
    {"title-too-long", kE},
    {"title-blanks", kW},
    {"title-summary", kE},
    {"title-duplicate", kW},
    {"id-missing", kE},
    {"id-empty", kE},
    {"id-reserved", kE},
    {"id-blanks", kW},
    {"id-duplicate", kE},
    {"id-duplicate-documents", kW},
    {"description-missing", kW},
    {"default-value", kE},
    {"name-path", kE},
    {"tolm-missing", kE},
    {"os-missing", kE},
    {"os-empty", kW},
    {"opsys-missing", kE},
    {"opsys-unknown", kE},
    {"os-unreachable", kE},
    {"kind-unknown", kE},
    {"kind-empty", kW},
    {"action-name", kW},
    {"action-missing", kE},
    {"loc-missing", kE},
    {"loc-no-slash", kE},
    {"loc-ends-in-slash", kE},
    {"loc-dots", kE},
    {"path-relative", kW},
    {"loc-wildcard-folder", kE},
    {"copy-collision", kW},
    {"gather-newest-value", kE},
    {"gather-newest-dots", kE},
    {"truncate-type", kW},
    {"clear-log-value", kE},
    {"unknown-child", kE},
    {"args-missing", kE},
    {"args-leading-blank", kE},
    {"args-before-path", kW},
    {"path-without-effect", kW},
    {"path-and-plugin", kW},
    {"regis", kE},
    {"launch-arguments", kE},
    {"launch-empty-argument", kW},
    {"program-path", kE},
    {"result-replaced", kE},
    {"temp-out-missing", kE},
    {"temp-out-ignored", kW},
    {"temp-out-deleted", kW},
    {"clear-log-empty", kE},
    {"clear-log-variable", kW},
    {"clear-log-not-default", kW},
    {"list-path-missing", kE},
    {"list-clear", kW},
    {"request-no-items", kW},
    {"request-id-twice", kW},
    {"request-id-unknown", kW},
    {"request-name-ignored", kW},
    {"request-name-path", kE},
    {"request-comments-missing", kW},
}};

// Every rule has a name: a row that is missing above would be a null pointer.
static_assert(kRows.back().name != nullptr);

}  // namespace

const std::array<CheckRuleRow, static_cast<std::size_t>(CheckRule::kCount)>& checkRuleRows() {
  return kRows;
}

const CheckRuleRow& checkRuleRow(CheckRule rule) {
  return kRows[static_cast<std::size_t>(rule)];
}

std::string findingLine(const std::string& file, const Finding& finding) {
  const CheckRuleRow& row = checkRuleRow(finding.rule);
  return withoutControls(file) + ":" + std::to_string(finding.position.line) + ":" +
         std::to_string(finding.position.column) + ": " +
         (row.level == CheckLevel::kError ? "error" : "warning") + ": " + finding.text + " [" + row.name +
         "]";
}

}  // namespace halvo
