#include "vpn/tools/TOLM/TOLMBundle/LogDate.h"

#include <algorithm>
#include <array>

#include "vpn/tools/TOLM/TOLMBundle/LineBytes.h"

namespace halvo {

namespace {

constexpr std::array<std::string_view, 12> kMonths = {"January",   "February", "March",    "April",
                                                      "May",       "June",     "July",     "August",
                                                      "September", "October",  "November", "December"};
constexpr std::array<std::string_view, 7> kDays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

// The month of "Mar" or "MAR". Small letters would be a day in other languages.
int monthOf(std::string_view word) {
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    const std::string_view name = kMonths[i].substr(0, 3);
    if (word == name ||
        (word.size() == 3 && word[0] == name[0] && word[1] == name[1] - 32 && word[2] == name[2] - 32)) {
      return static_cast<int>(i) + 1;
    }
  }
  return 0;
}

bool isDate(const LogTime& time) {
  return time.month >= 1 && time.month <= 12 && time.day >= 1 && time.day <= 31;
}

// Passes over the name of a day and "between" that stand ahead of the date.
void takeDayName(std::string_view line, std::string_view between, LogTime& time) {
  const std::size_t length = 3 + between.size();
  if (time.start < length || line.substr(time.start - between.size(), between.size()) != between) {
    return;
  }
  if (isDayName(line.substr(time.start - length, 3))) {
    time.start -= length;
  }
}

// "2026-03-15" or "2026/03/15" or "03/15/2026" or "15.03.2026", ending ahead of `end`.
bool takeNumericDate(std::string_view line, std::size_t end, LogTime& time) {
  std::array<int, 3> parts = {};
  std::array<std::size_t, 3> widths = {};
  std::size_t at = end;
  char separator = 0;
  for (std::size_t i = 3; i-- > 0;) {
    const std::size_t count = digitsAhead(line, at);
    if (count == 0 || count == 3) {
      return false;
    }
    parts[i] = numberOf(line, at - count, at);
    widths[i] = count;
    at -= count;
    if (i > 0) {
      if (at == 0 || (line[at - 1] != '-' && line[at - 1] != '/' && line[at - 1] != '.') ||
          (separator != 0 && line[at - 1] != separator)) {
        return false;
      }
      separator = line[--at];
    }
  }
  if (widths[0] == 4) {
    time.year = parts[0];
    time.month = parts[1];
    time.day = parts[2];
  } else if (widths[2] == 4) {
    time.year = parts[2];
    // With slashes the month stands first, unless it can't be one.
    const bool monthFirst = separator == '/' && parts[0] <= 12;
    time.month = monthFirst ? parts[0] : parts[1];
    time.day = monthFirst ? parts[1] : parts[0];
  } else {
    return false;
  }
  time.start = at;
  takeDayName(line, " ", time);
  return isDate(time);
}

// "Mar 15" or "Mar  5" or "March 15", ending ahead of `end`, with the name of the day in front where there is
// one.
bool takeNamedDate(std::string_view line, std::size_t end, LogTime& time) {
  const std::size_t count = digitsAhead(line, end);
  std::size_t at = end - count;
  if (count == 0 || count > 2) {
    return false;
  }
  const std::size_t day = at;
  while (at > 0 && day - at < 2 && line[at - 1] == ' ') {
    --at;
  }
  if (at == day || at < 3) {
    return false;
  }
  time.start = at - 3;
  time.month = monthOf(line.substr(time.start, 3));
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    const std::size_t length = kMonths[i].size();
    if (at >= length && line.substr(at - length, length) == kMonths[i]) {
      time.start = at - length;
      time.month = static_cast<int>(i) + 1;
    }
  }
  time.day = numberOf(line, day, end);
  takeDayName(line, " ", time);
  return isDate(time);
}

// "15/Mar/2026", ending ahead of `end`.
bool takeWebDate(std::string_view line, std::size_t end, LogTime& time) {
  constexpr std::size_t kLength = 11;
  if (end < kLength || digitsAhead(line, end) != 4) {
    return false;
  }
  const std::size_t at = end - kLength;
  if (!isDigit(line[at]) || !isDigit(line[at + 1]) || (line[at + 2] != '/' && line[at + 2] != '-') ||
      line[at + 6] != line[at + 2]) {
    return false;
  }
  time.day = twoDigits(line, at);
  time.month = monthOf(line.substr(at + 3, 3));
  time.year = numberOf(line, at + 7, end);
  time.start = at;
  return isDate(time);
}

// "15 Mar 2026" with "Sun, " in front where there is one, ending ahead of `end`.
bool takeLetterDate(std::string_view line, std::size_t end, LogTime& time) {
  constexpr std::size_t kBehindDay = 9;  // " Mar 2026"
  if (end < kBehindDay + 1 || digitsAhead(line, end) != 4 || line[end - 5] != ' ' ||
      line[end - kBehindDay] != ' ') {
    return false;
  }
  const std::size_t day = end - kBehindDay;
  const std::size_t count = digitsAhead(line, day);
  if (count == 0 || count > 2) {
    return false;
  }
  time.day = numberOf(line, day - count, day);
  time.month = monthOf(line.substr(day + 1, 3));
  time.year = numberOf(line, end - 4, end);
  time.start = day - count;
  takeDayName(line, ", ", time);
  takeDayName(line, " ", time);
  return isDate(time);
}

// "Mar 15, 2026" or "Mar 15 2026", ending ahead of `end`.
bool takeNamedDateWithYear(std::string_view line, std::size_t end, LogTime& time) {
  constexpr std::size_t kYear = 5;  // " 2026"
  if (end < kYear + 1 || digitsAhead(line, end) != 4 || line[end - kYear] != ' ') {
    return false;
  }
  const std::size_t day = end - kYear - (line[end - kYear - 1] == ',' ? 1 : 0);
  time.year = numberOf(line, end - 4, end);
  if (!isYear(time.year) || !takeNamedDate(line, day, time)) {
    time.year = 0;
    return false;
  }
  takeDayName(line, ", ", time);
  return true;
}

// "I0315" at the line's front: how bad it is, the month and the day.
bool takeShortDate(std::string_view line, std::size_t end, LogTime& time) {
  constexpr std::string_view kLevels = "DIWEF";
  if (end != 5 || kLevels.find(line[0]) == std::string_view::npos || digitsAhead(line, end) != 4) {
    return false;
  }
  time.month = twoDigits(line, 1);
  time.day = twoDigits(line, 3);
  time.start = 0;
  return isDate(time);
}

}  // namespace

bool isDayName(std::string_view word) {
  return std::find(kDays.begin(), kDays.end(), word) != kDays.end();
}

bool isYear(int number) {
  return number >= 1970 && number < 2100;
}

void takeDate(std::string_view line, LogTime& time) {
  if (time.start == 0) {
    return;
  }
  // Columns of tables are apart by a tab or a semicolon.
  const char before = line[time.start - 1];
  const char between = before == '\t' || before == ';' ? ' ' : before;
  LogTime dated = time;
  std::size_t end = time.start - 1;
  // Some put two blanks or more between both.
  constexpr std::size_t kMostBlanks = 4;
  while (before == ' ' && end > 0 && line[end - 1] == ' ' && time.start - end < kMostBlanks) {
    --end;
  }
  end -= before == ' ' && end > 0 && line[end - 1] == ',' ? 1 : 0;
  const bool found =
      ((between == ' ' || between == 'T' || between == '_' || between == '-') &&
       takeNumericDate(line, end, dated)) ||
      (between == ' ' && (takeNamedDateWithYear(line, end, dated) || takeLetterDate(line, end, dated) ||
                          takeNamedDate(line, end, dated) || takeShortDate(line, end, dated))) ||
      ((between == ':' || between == ' ') && takeWebDate(line, end, dated));
  if (found) {
    time = dated;
  }
}

}  // namespace halvo
