// A look into a command line of the shell: which programs it starts, with which words.
//
// Enough of the grammar of sh to find the simple commands of a line: quotes, pipes, lists, groups,
// redirections, reserved words. It runs and expands nothing; a word with an expansion in it keeps its "$"
// or "`", and a `case` ends the look. For a line that the shell refuses the answer is whatever could be
// seen. Plain functions; any thread may call them.

#pragma once

#include <set>
#include <string>
#include <vector>

namespace halvo {

struct ShellCommand {
  // Without assignments in front and without redirections; quotes are gone.
  std::vector<std::string> words;
  // Its standard input is a pipe, a file or a text of the line.
  bool fed = false;
  // Its output goes into the next command's input.
  bool piped = false;
  // It has a limit of time, or of lines, from what stands around it.
  bool bounded = false;
};

struct ShellLine {
  std::vector<ShellCommand> commands;
  // Somewhere standard error goes where it is told to.
  bool redirectsErrors = false;
  // Names that the line defines as functions.
  std::set<std::string> functions;
};

ShellLine readShellLine(const std::string& text);

// The same with the commands of scripts that shells of the line are given (`sh -c 'a; b'`), each behind its
// shell, to some depth. What holds for the shell (a pipe, a limit) holds for them.
ShellLine readShellLineWithScripts(const std::string& text);

// The script that a command, its wrappers taken off, gives to a shell; null for any other command.
const std::string* scriptOf(const std::vector<std::string>& words);

// The command behind `env`, `timeout 30`, `nice` and their like; `bounded` is set where a time limit
// stands among them. Empty where nothing is left.
std::vector<std::string> unwrapCommand(const std::vector<std::string>& words, bool& bounded);

}  // namespace halvo
