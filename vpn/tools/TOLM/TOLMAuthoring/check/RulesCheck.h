// Checks of a document of rules, the known problems that `tmtolm findings` looks for.

#pragma once

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRules.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace halvo {

// Whether the document is one of rules and not of instructions.
bool isRulesDocument(const DocumentTree& tree);

// What is wrong with the document at `path`, sorted by position. Its rules are added to `rules`, those of the
// documents ahead of it: an id comes once in all of them.
std::vector<Finding> checkRulesDocument(const std::string& path, RuleSet& rules);

}  // namespace halvo
