// Whole runs of the console program that the build made, in the places where it looks for things: for tests
// in a private root.

#pragma once

#include <string>
#include <vector>

#include "tests/support/Subprocess.h"

namespace halvo::test {

// Where a run reads its documents.
inline const std::string kConfig = "/opt/halvo/tessarmont/tolm/xml/config/";

// Runs `tmtolm ARGUMENTS` to its end.
RunResult tmtolm(std::vector<std::string> arguments, const RunOptions& options = {});

// The names of the runs' working folders in /tmp.
std::vector<std::string> workFolders();

}  // namespace halvo::test
