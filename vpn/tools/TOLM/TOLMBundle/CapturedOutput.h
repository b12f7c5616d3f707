// CapturedOutput: what a file of captured outputs tells of failures. Such a file has a heading above the
// output of each command, as the engine writes it.
//
// Pure functions over their arguments: any thread may call them.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

// How much of a file outputFailure() wants to see.
inline constexpr std::size_t kOutputFront = 16384;

struct CapturedOutput {
  std::string command;
  std::string_view output;  // borrowed of the text
  bool isWhole = true;      // false for the last one of a text that was cut
};

// The outputs under the headings of a text. `isCut`: it is the front of a longer one.
std::vector<CapturedOutput> capturedOutputs(std::string_view text, bool isCut);

// Whether there is nothing in an output but white space.
bool isBlankOutput(std::string_view output);

// Whether a line is one with which programs say that they couldn't do their work.
bool saysFailure(std::string_view line);

// Why a file of captured outputs looks like a failure, one line; empty if it doesn't. `front` is the
// beginning of the file, `isCut` whether there is more of it.
std::string outputFailure(const std::string& front, bool isCut);

}  // namespace halvo
