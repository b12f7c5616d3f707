// Ask: a request document for a second round with a machine that sent a bundle.

#pragma once

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"

namespace halvo {

// Whether what redaction left out counts as missing: it was gathered, and left out on purpose.
enum class Redacted { kLeftAlone, kAskedFor };

// The ids of the items that the bundle lacks something of, each once, in the order of the summary. Items that
// aren't gathered by default and the user's comments are no part of it.
std::vector<std::string> missingItems(const BundleContent& content, Redacted redacted);

// Whether XML can hold the id; it can't where it isn't UTF-8 or holds control characters, U+FFFE
// or U+FFFF.
bool canBeAskedFor(const std::string& id);

// A request for the items, each once, in their order; without those that can't be asked for.
std::string requestDocument(const std::vector<std::string>& ids);

}  // namespace halvo
