// Checks of a document of rules, the known problems that `tmtolm findings` looks for.

#pragma once

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRules.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"

namespace halvo {

// Whether the document is one of rules and not of instructions.
bool isRulesDocument(const DocumentTree& tree);

// What is wrong with the document at `path`, sorted by position.
std::vector<Finding> checkRulesDocument(const std::string& path);

}  // namespace halvo
