#include "vpn/tools/TOLM/TOLMBundle/CapturedOutput.h"

#include <algorithm>
#include <array>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/LineBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

namespace halvo {

namespace {

// What stands over a captured output: an empty line, a row of asterisks, the command, and another row.
constexpr std::size_t kBannerStars = 75;
constexpr std::string_view kBlanks = " \t\r\n";

// Words with which programs say that they couldn't, in small letters.
constexpr std::array<std::string_view, 18> kFailureWords = {"command not found",
                                                            ": not found",
                                                            "no such file or directory",
                                                            "permission denied",
                                                            "access denied",
                                                            "access is denied",
                                                            "operation not permitted",
                                                            "insufficient permission",
                                                            "insufficient privilege",
                                                            "administrator access",
                                                            "could not be found",
                                                            "cannot open",
                                                            "must be root",
                                                            "segmentation fault",
                                                            "traceback (most recent",
                                                            "connection refused",
                                                            "failed to connect to bus",
                                                            "has not been booted with systemd"};

std::string inSmallLetters(std::string_view text) {
  std::string small(text);
  for (char& c : small) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return small;
}

// "Unit cups.service not found."
bool tellsUnknownUnit(const std::string& line) {
  return line.starts_with("unit ") && line.find(" not found.") != std::string::npos;
}

// But for a warning of a program that works without the other.
bool tellsStoppedService(const std::string& line) {
  return line.find(" is not running") != std::string::npos && !line.starts_with("warning");
}

// A log's line, which tells of what was: it begins with a time, or with the kernel's "[   12.345678]" or
// "kern  :info  : [Sun Mar 15 10:42:07 2026]".
bool isOfLog(std::string_view line) {
  constexpr std::size_t kLongestLevel = 24;
  LogTime time;
  const std::size_t number = std::min(line.find_first_not_of("[ "), line.size());
  const std::size_t point = endOfDigits(line, number);
  return (line.substr(0, 1) == "[" && point > number && line.substr(point, 1) == "." &&
          line.substr(endOfDigits(line, point + 1), 1) == "]") ||
         (findLogTime(line, time) &&
          (time.start <= 1 || (time.start <= kLongestLevel && line[time.start - 1] == '[')));
}

// The line of an output that tells of a failure; empty where none does.
std::string_view failureLine(std::string_view output) {
  // Failures are told at once; a word further down may be what a log tells.
  constexpr int kLines = 5;
  std::size_t at = std::min(output.find_first_not_of(kBlanks), output.size());
  // What a program prints of its use, and nothing else, it prints for a wrong call.
  const std::string_view first = output.substr(at, std::min(output.find('\n', at), output.size()) - at);
  if (inSmallLetters(first.substr(0, 6)) == "usage:") {
    return first;
  }
  for (int i = 0; i < kLines && at < output.size(); ++i) {
    const std::size_t end = std::min(output.find('\n', at), output.size());
    if (const std::string_view line = output.substr(at, end - at); saysFailure(line) && !isOfLog(line)) {
      return line;
    }
    at = end + 1;
  }
  return {};
}

}  // namespace

std::vector<CapturedOutput> capturedOutputs(std::string_view text, bool isCut) {
  static const std::string s_strStart = "\n\r" + std::string(kBannerStars, '*') + "\n\"";
  static const std::string s_strEnd = "\" output:\n" + std::string(kBannerStars, '*') + "\n\r\n";
  std::vector<CapturedOutput> outputs;
  for (std::size_t at = text.find(s_strStart); at != std::string_view::npos;) {
    const std::size_t command = at + s_strStart.size();
    const std::size_t close = text.find(s_strEnd, command);
    if (close == std::string_view::npos) {
      break;
    }
    const std::size_t output = close + s_strEnd.size();
    at = text.find(s_strStart, output);
    const bool isLast = at == std::string_view::npos;
    outputs.push_back({std::string(text.substr(command, close - command)),
                       text.substr(output, isLast ? at : at - output), !(isLast && isCut)});
  }
  return outputs;
}

bool isBlankOutput(std::string_view output) {
  return output.find_first_not_of(kBlanks) == std::string_view::npos;
}

bool saysFailure(std::string_view line) {
  const std::string small = inSmallLetters(line);
  return tellsUnknownUnit(small) || tellsStoppedService(small) ||
         std::any_of(kFailureWords.begin(), kFailureWords.end(),
                     [&small](std::string_view words) { return small.find(words) != std::string::npos; });
}

std::string outputFailure(const std::string& front, bool isCut) {
  constexpr std::size_t kLongestQuote = 200;
  const std::vector<CapturedOutput> outputs = capturedOutputs(front, isCut);
  // What is said tells more than silence.
  for (const CapturedOutput& output : outputs) {
    if (const std::string_view line = failureLine(output.output); !line.empty()) {
      return std::string(line.substr(0, kLongestQuote));
    }
  }
  for (const CapturedOutput& output : outputs) {
    if (output.isWhole && isBlankOutput(output.output)) {
      return outputs.size() == 1 ? "the command printed nothing"
                                 : "the command " + quotedText(output.command) + " printed nothing";
    }
  }
  return "";
}

}  // namespace halvo
