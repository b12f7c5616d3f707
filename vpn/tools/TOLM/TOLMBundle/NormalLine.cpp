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

// The "123" of syslog's "word[123]:". A short number may be an index of anything, but where the word is what
// syslog has there: behind the time, and the machine's name where there is one. `time` is where the line's
// first time ends; 0 where it has none ahead of the word.
bool isTaggedId(std::string_view line, std::size_t at, std::size_t end, std::size_t time) {
  if (at < 2 || line[at - 1] != '[' || line.substr(end, 2) != "]:") {
    return false;
  }
  constexpr std::size_t kLongestIndex = 2;
  if (line[at - 2] == ')' || !isWordCharacter(line[at - 2]) || end - at > kLongestIndex) {
    return line[at - 2] == ')' || isWordCharacter(line[at - 2]);
  }
  // Both names are short: a line without blanks isn't walked through for each of its tags.
  constexpr std::size_t kLongestNames = 300;
  if (time == 0 || time >= at - 1 || at - time > kLongestNames) {
    return false;
  }
  std::size_t name = at - 1;
  while (name > time && line[name - 1] != ' ' && line[name - 1] != '\t') {
    --name;
  }
  int words = 0;
  for (std::size_t i = time; i < name; ++i) {
    words += line[i] != ' ' && (i == time || line[i - 1] == ' ') ? 1 : 0;
    if (line[i] == ':') {
      return false;
    }
  }
  return name > time && words <= 1;
}

// A process id behind a tag or behind "pid".
std::size_t endOfProcessId(std::string_view line, std::size_t at, std::size_t time) {
  const std::size_t end = endOfDigits(line, at);
  if (isTaggedId(line, at, end, time)) {
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

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::string_view trimmed(std::string_view text, std::string_view which) {
  return text.substr(0, text.find_last_not_of(which) + 1);
}

// The name of a setting that the text ends with.
std::string_view nameAtEnd(std::string_view text) {
  std::size_t start = text.size();
  while (start > 0 && (isWordCharacter(text[start - 1]) || text[start - 1] == '-')) {
    --start;
  }
  return text.substr(start);
}

// Whether the time behind that name is when something happened, which differs between any two looks. What
// stands ahead of "time", "date" and "at" tells.
bool isOfLogs(std::string_view name) {
  constexpr std::string_view kNames =
      " a access accessed asc b begin birth boot c change changed completed completion connect "
      "connected connectedsince created creation current date disconnected elapsed end ended "
      "event finish finished firstseen generated local log logged login logon m modified modify "
      "now observed occurred received request response seen sent since start started stop stopped "
      "system t timecreated ts up utc when ";
  std::string key;
  for (const char c : name) {
    if (c != '_' && c != '-') {
      key += c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
  }
  if (endsWith(key, "timestamp") || key.compare(0, 4, "last") == 0 || key.compare(0, 7, "updated") == 0) {
    return true;
  }
  for (const std::string_view end : {"time", "date", "at"}) {
    if (endsWith(key, end)) {
      key.resize(key.size() - end.size());
      break;
    }
  }
  return key.empty() || kNames.find(" " + key + " ") != std::string_view::npos;
}

constexpr std::size_t kLongestZone = 7;

// Whether a value ends where the text begins: at most a zone may stand there.
bool isBehindValue(std::string_view text) {
  return text.size() <= kLongestZone &&
         std::none_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

// Whether the time from `at` to `end` is a value that was set, as "notAfter=" says, and none of the line.
// `isFirst` where no time stands ahead of it.
bool isSetting(std::string_view line, std::size_t at, std::size_t end, bool isFirst) {
  constexpr std::size_t kLongestFront = 256;
  const bool isWhole = at <= kLongestFront;
  std::string_view front = line.substr(isWhole ? 0 : at - kLongestFront, isWhole ? at : kLongestFront);
  if (endsWith(front, "\"") || endsWith(front, "'")) {
    front.remove_suffix(1);
  }
  constexpr std::string_view kSpaces = " \t";
  if (endsWith(front, ">")) {  // <name>10:42:07</name>
    const std::size_t open = std::min(front.rfind('<'), front.size() - 1);
    const std::string_view element = front.substr(open + 1);
    const std::size_t length = std::min(element.find_first_of(" \t/>"), element.size());
    const std::string_view behind = line.substr(end, kLongestZone + 2);
    const std::size_t close = behind.find("</");
    return length > 0 && !isDigit(element[0]) && close != std::string_view::npos &&
           isBehindValue(behind.substr(0, close)) && !isOfLogs(element.substr(0, length));
  }
  const std::string_view named = trimmed(front, kSpaces);
  if (endsWith(named, "=")) {
    return !isOfLogs(nameAtEnd(trimmed(named.substr(0, named.size() - 1), " \t\"'")));
  }
  const std::string_view words = trimmed(front, " :");
  if (endsWith(words, "Not After") || endsWith(words, "Not Before") ||
      (isFirst && endsWith(words, "valid until"))) {
    return true;
  }
  if (!endsWith(named, ":")) {
    return false;
  }
  const std::string_view key = trimmed(named.substr(0, named.size() - 1), kSpaces);
  if (endsWith(key, "\"") || endsWith(key, "'")) {  // "name": "10:42:07"
    return !isOfLogs(nameAtEnd(key.substr(0, key.size() - 1)));
  }
  // name: 10:42:07, and no more in the line: "ERROR: 10:42:07 up" is of a log.
  const std::string_view name = nameAtEnd(key);
  return isWhole && key.find_first_not_of(" \t-") == key.size() - name.size() && !name.empty() &&
         isBehindValue(trimmed(line.substr(end), " \t\r\"',;")) && !isOfLogs(name);
}

// "1773571327" behind a name of what happened that says that it is a time: "connection.timestamp: ".
std::size_t endOfNamedEpoch(std::string_view line, std::size_t at) {
  constexpr std::size_t kLongestFront = 80;
  const std::size_t end = endOfEpoch(line, at);
  const std::size_t from = at > kLongestFront ? at - kLongestFront : 0;
  if (end == 0 || (end < line.size() && isWordCharacter(line[end]))) {
    return 0;
  }
  const std::string_view front = trimmed(line.substr(from, at - from), " \t\"'");
  if (!endsWith(front, ":") && !endsWith(front, "=")) {
    return 0;
  }
  const std::string_view name = nameAtEnd(trimmed(front.substr(0, front.size() - 1), " \t\"'"));
  const bool tellsTime =
      name == "ts" || endsWith(name, "time") || endsWith(name, "timestamp") || endsWith(name, "TIMESTAMP");
  return tellsTime && isOfLogs(name) ? end : 0;
}

// What tells the time in front of `at` once more: " UTC (1773571327)" or " UTC; 3min ago" at the line's end.
void passSameTime(std::string_view line, std::size_t& at, std::string& result) {
  std::size_t zone = at;
  while (zone < line.size() && zone - at < 6 &&
         (line[zone] == ' ' || (line[zone] >= 'A' && line[zone] <= 'Z'))) {
    ++zone;
  }
  std::size_t end = at;
  if (line.substr(zone, 1) == "(") {
    const std::size_t digits = endOfEpoch(line, zone + 1);
    end = digits != 0 && line.substr(digits, 1) == ")" ? digits + 1 : at;
  } else if (constexpr std::size_t kLongestAge = 40;
             line.substr(zone, 2) == "; " && line.size() - zone <= kLongestAge && endsWith(line, " ago")) {
    end = line.size();
  }
  if (end > at) {
    result += line.substr(at, zone - at);
    result += "<time>";
    at = end;
  }
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
  appendNormal(line, 0, line.size(), result);
}

std::size_t appendNormal(std::string_view line, std::size_t from, std::size_t to, std::string& result) {
  LogTime time;
  constexpr std::size_t kNone = std::string_view::npos;
  std::size_t nextTime = kNone;
  // A look ends far enough behind the last byte that a time may begin with.
  constexpr std::size_t kLongestLook = 512;
  constexpr std::size_t kLongestTime = 128;
  std::size_t lookedUntil = from;
  const auto look = [&](std::size_t start) {
    lookedUntil = std::min(start + kLongestLook, line.size());
    nextTime = kNone;
    for (std::size_t next = start; nextTime == kNone; next = time.end) {
      if (!findLogTime(line, time, next, lookedUntil + kLongestTime, BareClock::kAnywhere) ||
          time.start >= lookedUntil) {
        return;
      }
      // The date of one that begins ahead has been taken for another's.
      nextTime = time.start >= start ? time.start : kNone;
    }
  };
  std::size_t firstEnd = 0;
  std::size_t at = from;
  // A time, or the words that stand for it where it is a setting.
  const auto pass = [&](std::size_t end) {
    const bool isFirst = firstEnd == 0;
    firstEnd = isFirst ? end : firstEnd;
    if (isSetting(line, at, end, isFirst)) {
      result += line.substr(at, end - at);
      at = end;
    } else {
      result += "<time>";
      at = end;
      passSameTime(line, at, result);
    }
  };
  while (at < to) {
    if (at >= lookedUntil || nextTime < at) {
      look(at);
    }
    if (at == nextTime) {
      pass(time.end);
      look(at);
      continue;
    }
    if (isDigit(line[at]) && (at == 0 || !isWordCharacter(line[at - 1]))) {
      if (const std::size_t end = endOfCompactTime(line, at); end > at) {
        pass(end);
        continue;
      }
      if (const std::size_t end = endOfNamedEpoch(line, at); end > at) {
        pass(end);
        continue;
      }
      if (const std::size_t end = endOfProcessId(line, at, firstEnd); end > at) {
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
  return at;
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
  // What a thread of the kernel's works at stands behind its name; "kworker/R-" has one work alone.
  const std::string_view last = words[m_Replaced.size() - 1];
  constexpr std::string_view kWorker = "kworker/";
  const std::size_t name = last.substr(0, 1) == "[" ? 1 : 0;
  const std::string_view number = last.substr(std::min(name + kWorker.size(), last.size()), 1);
  if (last.substr(name, kWorker.size()) == kWorker && (number == "u" || isDigitAt(number, 0))) {
    result += last.substr(0, name + kWorker.size());
  } else {
    result += row.substr(static_cast<std::size_t>(last.data() - row.data()));
  }
  return true;
}

std::size_t LineNormalizer::normalize(std::string_view line, std::string& result, std::size_t to) {
  to = std::min(to, line.size());
  if (takeHeading(line)) {
    result.clear();
    for (const std::string_view word : wordsOf(line)) {
      result += word;
      result += ' ';
    }
    return to;
  }
  result.clear();
  const std::size_t end = appendNormal(line, 0, to, result);
  if (!m_Replaced.empty()) {
    const std::string row = result;
    if (!takeRow(row, result)) {
      m_Replaced.clear();
    }
  }
  return end;
}

}  // namespace halvo
