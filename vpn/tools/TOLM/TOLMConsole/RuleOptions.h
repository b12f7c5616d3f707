// RuleOptions: which known problems a subcommand looks for. Used on the main thread.

#pragma once

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace halvo {

// Fills `rules` from documents and folders of documents (*.xml), or with the built-in ones where there are no
// paths. Returns an exit status; what is wrong with a document is told on standard error, by its line.
[[nodiscard]] int loadRules(const std::vector<std::string>& paths, RuleSet& rules);

}  // namespace halvo
