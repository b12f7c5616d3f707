#include "vpn/tools/TOLM/TOLMBundle/NormalLine.h"

#include <algorithm>
#include <array>

#include "vpn/tools/TOLM/TOLMBundle/LineBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

namespace halvo {

namespace {

// Both give the end of what begins at `at`, 0 where nothing of the kind does.

// Seconds since the start or since 1970, as the kernel and services put them in brackets: "   12.345678" and
// "1678873323.1234". A fraction of few digits may be any number.
std::size_t endOfStamp(std::string_view line, std::size_t at) {
  while (at < line.size() && line[at] == ' ') {
    ++at;
  }
  const std::size_t point = endOfDigits(line, at);
  if (point == at || point >= line.size() || line[point] != '.') {
    return 0;
  }
  constexpr std::size_t kFewestDigits = 4;
  const std::size_t end = endOfDigits(line, point + 1);
  return end - point - 1 >= kFewestDigits && end < line.size() && line[end] == ']' ? end : 0;
}

// The "123" of syslog's "word[123]:".
bool isTaggedId(std::string_view line, std::size_t at, std::size_t end) {
  return at >= 2 && line[at - 1] == '[' && (isWordCharacter(line[at - 2]) || line[at - 2] == ')') &&
         line.substr(end, 2) == "]:";
}

// A process id behind a tag or behind "pid".
std::size_t endOfProcessId(std::string_view line, std::size_t at) {
  const std::size_t end = endOfDigits(line, at);
  if (isTaggedId(line, at, end)) {
    return end;
  }
  constexpr std::string_view kBetween = "=: \"";
  std::size_t word = at;
  while (word > 0 && at - word < 4 && kBetween.find(line[word - 1]) != std::string_view::npos) {
    --word;
  }
  if (word == at || word < 3 || (line.substr(word - 3, 3) != "pid" && line.substr(word - 3, 3) != "PID")) {
    return 0;
  }
  // "ppid" and "_PID" too, but no word that only ends so.
  const char before = word > 3 ? line[word - 4] : ' ';
  return before == 'p' || before == 'P' || before == '_' || !isWordCharacter(before) ? end : 0;
}

std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  std::size_t at = 0;
  while ((at = line.find_first_not_of(" \t", at)) != std::string_view::npos) {
    const std::size_t end = std::min(line.find_first_of(" \t", at), line.size());
    words.push_back(line.substr(at, end - at));
    at = end;
  }
  return words;
}

// Columns that differ between any two looks at the same processes.
bool isReplaced(std::string_view heading) {
  static constexpr std::array<std::string_view, 25> kHeadings = {
      "PID",     "PPID", "PGID", "PGRP", "SID",  "SESS",  "TID",   "SPID",  "LWP",
      "TGID",    "C",    "%CPU", "%MEM", "TIME", "TIME+", "STIME", "START", "STARTED",
      "ELAPSED", "VSZ",  "RSS",  "SZ",   "VIRT", "RES",   "SHR"};
  return std::find(kHeadings.begin(), kHeadings.end(), heading) != kHeadings.end();
}

bool isHeadingWord(std::string_view word) {
  return std::none_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

}  // namespace

void normalizeLine(std::string_view line, std::string& result) {
  result.clear();
  LogTime time;
  std::size_t nextTime = findLogTime(line, time) ? time.start : line.size();
  std::size_t at = 0;
  while (at < line.size()) {
    if (at == nextTime) {
      result += "<time>";
      at = time.end;
      nextTime = findLogTime(line, time, at) && time.start >= at ? time.start : line.size();
      continue;
    }
    if (isDigit(line[at]) && (at == 0 || !isWordCharacter(line[at - 1]))) {
      if (const std::size_t end = endOfCompactTime(line, at); end > at) {
        result += "<time>";
        at = end;
        continue;
      }
      if (const std::size_t end = endOfProcessId(line, at); end > at) {
        result += "<pid>";
        at = end;
        continue;
      }
    }
    if (line[at] == '[') {
      if (const std::size_t end = endOfStamp(line, at + 1); end > at) {
        result += "[<time>";
        at = end;
        continue;
      }
    }
    result += line[at++];
  }
}

bool LineNormalizer::takeHeading(std::string_view line) {
  // Most lines have no such word, and are done with.
  if (line.find("PID") == std::string_view::npos) {
    return false;
  }
  const std::vector<std::string_view> words = wordsOf(line);
  const auto id = std::find(words.begin(), words.end(), "PID");
  if (id == words.end() || (words.back() != "CMD" && words.back() != "COMMAND") ||
      !std::all_of(words.begin(), words.end(), isHeadingWord)) {
    return false;
  }
  m_nIdColumn = static_cast<std::size_t>(id - words.begin());
  m_Replaced.clear();
  for (const std::string_view word : words) {
    m_Replaced.push_back(isReplaced(word));
  }
  return true;
}

// False where the table is at its end.
bool LineNormalizer::takeRow(const std::string& row, std::string& result) const {
  const std::vector<std::string_view> words = wordsOf(row);
  if (words.size() < m_Replaced.size() || endOfDigits(words[m_nIdColumn], 0) != words[m_nIdColumn].size()) {
    return false;
  }
  result.clear();
  for (std::size_t i = 0; i + 1 < m_Replaced.size(); ++i) {
    result += m_Replaced[i] ? "*" : words[i];
    result += ' ';
  }
  result += row.substr(static_cast<std::size_t>(words[m_Replaced.size() - 1].data() - row.data()));
  return true;
}

void LineNormalizer::normalize(std::string_view line, std::string& result) {
  if (takeHeading(line)) {
    result.clear();
    for (const std::string_view word : wordsOf(line)) {
      result += word;
      result += ' ';
    }
    return;
  }
  normalizeLine(line, result);
  if (!m_Replaced.empty()) {
    const std::string row = result;
    if (!takeRow(row, result)) {
      m_Replaced.clear();
    }
  }
}

}  // namespace halvo
