// Runs a child program to its end, bounded in time, and gives back what it printed.

#pragma once

#include <map>
#include <string>
#include <vector>

namespace halvo::test {

struct RunOptions {
  std::string input;                               // standard input; closed behind it
  std::map<std::string, std::string> environment;  // set on top of the test's own
  std::vector<std::string> unset;                  // variables taken away
  std::string workingFolder;                       // empty: the test's own
  int timeoutSeconds = 100;                        // the child and its process group are killed then
};

struct RunResult {
  int exitStatus = -1;  // -1: killed by a signal or by the time limit
  int signal = 0;       // the signal that ended the child, 0 if it exited
  bool timedOut = false;
  std::string out;
  std::string err;
};

// `arguments[0]` is the program, searched in PATH where it has no "/".
RunResult runProgram(const std::vector<std::string>& arguments, const RunOptions& options = {});

// The path of a program that the build made, such as builtProgram("tmtolm").
std::string builtProgram(const std::string& name);

// The path of a file in the source tree.
std::string sourcePath(const std::string& relative);

}  // namespace halvo::test
