// What the subcommands have to say, and how: results on standard output, one line a failure on standard
// error. Used on the main thread.

#pragma once

#include <string>

namespace halvo {

// "tmtolm: LINE" on standard error: one line, whatever the paths in it hold.
void printError(const std::string& line);

// A result as it is.
void printText(const std::string& text);

// Prints the line and returns the status of wrong usage.
[[nodiscard]] int usageFailure(const std::string& line);

// At the end of a command: `status`, or a failure that is told where standard output couldn't be written.
[[nodiscard]] int finishOutput(int status);

// The same while a run goes on, whose line of progress on a terminal ends without a line feed.
void printRemark(const std::string& line);

// The line for standard error about a command that failed with `code`, without a line end. A run's own
// outcome has one of its own.
std::string failureLine(const std::string& text, unsigned code);

// Behind the failure of a folder without any document that can be used.
inline constexpr char kCheckTells[] = "; is there a document, and does tmtolm check find it well-formed?";

// From here on a reader of standard output that goes away doesn't end the program.
void outliveReader();

}  // namespace halvo
