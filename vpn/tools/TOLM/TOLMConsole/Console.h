// The console front-end as a function: runs one command line and tells the exit status.
//
// Prints to standard output and standard error. Called once, on the main thread, which also runs the
// engine: nothing else happens meanwhile.

#pragma once

#include <string>
#include <vector>

namespace halvo {

// `arguments` without the program's name.
int runConsole(const std::vector<std::string>& arguments);

// Where the wizard puts a bundle: the Desktop folder and a name made of the present time. A variable
// that isn't set stays in the path as it is.
std::string defaultBundlePath();

// The line for standard error about a run that ended with `code`, without a line end.
std::string failureLine(const std::string& text, unsigned code, const std::string& bundlePath);

}  // namespace halvo
