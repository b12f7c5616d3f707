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

}  // namespace halvo
