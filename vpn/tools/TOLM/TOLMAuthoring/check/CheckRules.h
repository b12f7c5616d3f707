// The rules that `tmtolm check` knows: each has a stable name, which scripts and editors may rely on,
// and one level. What each means is told in docs/check-rules.md.

#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"

namespace halvo {

enum class CheckLevel {
  kWarning,  // a run does it, maybe otherwise than meant
  kError,    // a run doesn't do what the document says
};

enum class CheckRule {
  // Files and folders.
  kUnreadable,
  kTooLarge,
  kNotWellFormed,
  kParserComplaint,
  kFileName,
  kSkippedName,
  kFolderAsDocument,
  kNoDocuments,
  kRequestInFolder,
  kTooManyFindings,
  // Any element.
  kUnknownElement,
  kMisplacedElement,
  kRepeatedElement,
  kFoundDeep,
  kIgnoredText,
  kUnreadAttribute,
  kNestedTags,
  kTextBlanks,
  kVariableUnclosed,
  kVariableUnset,
  // The document and its title.
  kNoItems,
  kNestedFile,
  kTitleMissing,
  kTitleEmpty,
  kTitlePath,
  kTitleTooLong,
  kTitleBlanks,
  kTitleSummary,
  kTitleDuplicate,
  // Items.
  kIdMissing,
  kIdEmpty,
  kIdReserved,
  kIdBlanks,
  kIdDuplicate,
  kIdDuplicateDocuments,
  kDescriptionMissing,
  kDefaultValue,
  kNamePath,
  kTolmMissing,
  kOsMissing,
  kOsEmpty,
  kOpsysMissing,
  kOpsysUnknown,
  kOsUnreachable,
  kKindUnknown,
  kKindEmpty,
  kActionName,
  kActionMissing,
  // Copies.
  kLocMissing,
  kLocNoSlash,
  kLocEndsInSlash,
  kLocDots,
  kPathRelative,
  kLocWildcardFolder,
  kCopyCollision,
  kGatherNewestValue,
  kGatherNewestDots,
  kTruncateType,
  kClearLogValue,
  // Commands.
  kUnknownChild,
  kArgsMissing,
  kArgsLeadingBlank,
  kArgsBeforePath,
  kPathWithoutEffect,
  kPathAndPlugin,
  kRegis,
  kLaunchArguments,
  kLaunchEmptyArgument,
  kProgramPath,
  kResultReplaced,
  kTempOutMissing,
  kTempOutIgnored,
  kTempOutDeleted,
  kClearLogEmpty,
  kClearLogVariable,
  kClearLogNotDefault,
  // Property lists.
  kListPathMissing,
  kListClear,
  // Requests.
  kRequestNoItems,
  kRequestIdTwice,
  kRequestIdUnknown,
  kRequestNameIgnored,
  kRequestNamePath,
  kRequestCommentsMissing,
  kCount,
};

struct CheckRuleRow {
  const char* name;
  CheckLevel level;
};

// Indexed by CheckRule.
const std::array<CheckRuleRow, static_cast<std::size_t>(CheckRule::kCount)>& checkRuleRows();
const CheckRuleRow& checkRuleRow(CheckRule rule);

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

}  // namespace halvo
