// Checks of the items (`file` elements) of a config document and of a request.

#pragma once

#include <string>

#include "vpn/tools/TOLM/TOLMAuthoring/check/ActionCheck.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentCheck.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ElementCheck.h"

namespace halvo {

// The id of an item; adds it to the facts. Shared by both kinds of document.
void checkItemId(FindingList& list, DocumentFacts& facts, const DocumentElement& item, bool request);

// One item of a config document.
void checkConfigItem(FindingList& list, ActionCheck& actions, const DocumentElement& item);

// The whole of a request document.
void checkRequest(FindingList& list, DocumentFacts& facts, const DocumentElement& root);

}  // namespace halvo
