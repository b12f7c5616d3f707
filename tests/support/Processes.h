// Processes that tell of themselves in files.

#pragma once

#include <sys/types.h>

#include <string>

namespace halvo::test {

// Waits until a file is there, at most some seconds, and tells whether it is.
bool waitForFile(const std::string& path);

// The process id at the beginning of `file`; 0 where there is none.
pid_t processIn(const std::string& file);

// Whether it runs; one that has ended and that nobody has waited for doesn't.
bool isAlive(pid_t process);

}  // namespace halvo::test
