// What a path in a document may be about: secrets, places that block, places that nobody clears, and
// wildcards of other programs that mean nothing here. Plain functions; nothing is looked up on the machine
// unless a host is handed in.

#pragma once

#include <string>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckHost.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ElementCheck.h"

namespace halvo {

// Why nobody should send in what lies at the path, such as "private keys"; empty where nothing speaks
// against it. The last component may be a pattern.
std::string secretAt(const std::string& path);

// Whether reading at the path may block or never ends, by its name alone.
bool isBlockingPath(const std::string& path);

// Whether clearing by this pattern would take away what belongs to the system, or a home as a whole.
bool isSystemPlace(const std::string& path);

// The text of a `loc`, `temp_out` or `path` element: length of its components and no-break spaces.
void checkPathNames(FindingList& list, const DocumentElement& element, const std::string& text);

// The text of a `loc`: what can't be gathered or shouldn't be, and foreign wildcards.
void checkGathered(FindingList& list, const DocumentElement& loc, ICheckHost& host);

// No-break spaces in a text where a run takes them for letters.
void checkNoBreakSpace(FindingList& list, const DocumentElement& element, const std::string& text);

}  // namespace halvo
