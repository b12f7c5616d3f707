// What a command line of a document may have against it: programs that aren't there, that never end, that
// ask somebody, that print secrets, and text that the shell refuses. Nothing is run.

#pragma once

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckHost.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ElementCheck.h"

namespace halvo {

// A command line that a shell runs. `here`: it is meant for this system, so its programs are looked for.
void checkShellCommand(FindingList& list, const DocumentElement& element, ICheckHost& host, bool here);

// A program that is started without a shell, with its one argument.
void checkStartedCommand(FindingList& list, const DocumentElement& element, const std::string& program,
                         const std::string& argument, ICheckHost& host, bool here);

// Whether a command with these words goes on until somebody ends it. `fed`: it has an input of its own.
bool isEndless(const std::vector<std::string>& words, bool fed);

}  // namespace halvo
