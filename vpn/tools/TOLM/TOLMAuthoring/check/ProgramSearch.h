// findsProgram(): whether a launch of a program by this name finds one on this machine.

#pragma once

#include <string>

namespace halvo {

// By PATH, or where the name is empty or holds a "/" at that place alone; a regular file that the process may
// run by its effective rights. Nothing is run and nothing logged. Any thread that leaves the environment
// alone.
[[nodiscard]] bool findsProgram(const std::string& program);

}  // namespace halvo
