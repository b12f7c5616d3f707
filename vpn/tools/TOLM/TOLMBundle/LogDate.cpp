#include "vpn/tools/TOLM/TOLMBundle/LogDate.h"

#include <algorithm>
#include <array>

#include "vpn/tools/TOLM/TOLMBundle/LineBytes.h"

namespace halvo {

namespace {

constexpr std::array<std::string_view, 12> kMonths = {"January",   "February", "March",    "April",
                                                      "May",       "June",     "July",     "August",
                                                      "September", "October",  "November", "December"};
constexpr std::array<std::string_view, 7> kDays = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                                                   "Friday", "Saturday", "Sunday"};

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

bool endsAt(std::string_view line, std::size_t end, std::string_view text) {
  return end >= text.size() && line.substr(end - text.size(), text.size()) == text;
}

// Where the month's name that ends at `end` begins, short or whole; `end` where none does.
std::size_t startOfMonth(std::string_view line, std::size_t end, int& month) {
  month = end < 3 ? 0 : monthOf(line.substr(end - 3, 3));
  std::size_t start = month == 0 ? end : end - 3;
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    if (endsAt(line, end, kMonths[i])) {
      start = end - kMonths[i].size();
      month = static_cast<int>(i) + 1;
    }
  }
  return start;
}

bool isDate(const LogTime& time) {
  return time.month >= 1 && time.month <= 12 && time.day >= 1 && time.day <= 31;
}

// Passes over the name of a day, short or whole, that stands ahead of the date: "Sun ", "Sunday, ", "Sun,  ".
void takeDayName(std::string_view line, LogTime& time) {
  constexpr std::size_t kMostBlanks = 2;
  std::size_t at = time.start;
  while (at > 0 && time.start - at < kMostBlanks && line[at - 1] == ' ') {
    --at;
  }
  if (at == time.start) {
    return;
  }
  at -= at > 0 && line[at - 1] == ',' ? 1 : 0;
  for (const std::string_view day : kDays) {
    for (const std::string_view name : {day, day.substr(0, 3)}) {
      if (endsAt(line, at, name)) {
        time.start = at - name.size();
        return;
      }
    }
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
  takeDayName(line, time);
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
  if (at == day) {
    return false;
  }
  time.start = startOfMonth(line, at, time.month);
  time.day = numberOf(line, day, end);
  takeDayName(line, time);
  return isDate(time);
}

// "15/Mar/2026", "15-Mar-2026" or "2026-Mar-15", ending ahead of `end`.
bool takeWebDate(std::string_view line, std::size_t end, LogTime& time) {
  constexpr std::size_t kLength = 11;
  const std::size_t last = digitsAhead(line, end);
  if (end < kLength || (last != 4 && last != 2)) {
    return false;
  }
  const std::size_t at = end - kLength;
  const std::size_t month = at + (last == 4 ? 3 : 5);
  const char separator = line[month - 1];
  if (digitsAhead(line, month - 1) != 6 - last || (separator != '/' && separator != '-') ||
      line[month + 3] != separator) {
    return false;
  }
  const int front = numberOf(line, at, month - 1);
  const int back = numberOf(line, month + 4, end);
  time.day = last == 4 ? front : back;
  time.year = last == 4 ? back : front;
  time.month = monthOf(line.substr(month, 3));
  time.start = at;
  return isDate(time);
}

// "15 Mar 2026", "15 March 2026" or "15 Mar", with "Sun, " in front where there is one, ending ahead of
// `end`.
bool takeLetterDate(std::string_view line, std::size_t end, LogTime& time) {
  constexpr std::size_t kYear = 5;  // " 2026"
  std::size_t at = end;
  if (digitsAhead(line, end) == 4 && end > kYear && line[end - kYear] == ' ') {
    time.year = numberOf(line, end - 4, end);
    at = end - kYear;
  }
  const std::size_t month = startOfMonth(line, at, time.month);
  if (month == at || month < 2 || line[month - 1] != ' ') {
    return false;
  }
  const std::size_t count = digitsAhead(line, month - 1);
  if (count == 0 || count > 2) {
    return false;
  }
  time.start = month - 1 - count;
  time.day = numberOf(line, time.start, month - 1);
  takeDayName(line, time);
  return isDate(time);
}

// "20260315", ending ahead of `end`; how bad it is may stand in front: "I20260315".
bool takeCompactDate(std::string_view line, std::size_t end, LogTime& time) {
  constexpr std::size_t kLength = 8;
  if (end < kLength || digitsAhead(line, end) != 4 || digitsAhead(line, end - 4) != 4) {
    return false;
  }
  const std::size_t at = end - kLength;
  if (at > 0 && (at == 1 ? isDigit(line[0]) : isWordCharacter(line[at - 1]))) {
    return false;
  }
  time.year = numberOf(line, at, at + 4);
  time.month = twoDigits(line, at + 4);
  time.day = twoDigits(line, at + 6);
  time.start = at == 1 && isWordCharacter(line[0]) ? 0 : at;
  return isYear(time.year) && isDate(time);
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
  return std::any_of(kDays.begin(), kDays.end(),
                     [word](std::string_view day) { return day.substr(0, 3) == word; });
}

bool isYear(int number) {
  return number >= 1970 && number < 2100;
}

void takeDate(std::string_view line, LogTime& time) {
  if (time.start == 0) {
    return;
  }
  // Columns of tables are apart by a tab, a semicolon or a comma, and may be in quotes; or both are in
  // brackets of their own.
  constexpr std::string_view kQuoted = "\",\"";
  constexpr std::string_view kBrackets = "][";
  const bool isQuoted = endsAt(line, time.start, kQuoted);
  const bool isBracketed = endsAt(line, time.start, kBrackets);
  const char before = line[time.start - 1];
  const bool isColumn = isQuoted || isBracketed || before == '\t' || before == ';' || before == ',';
  const char between = isColumn ? ' ' : before;
  LogTime dated = time;
  std::size_t end = time.start - (isQuoted ? kQuoted.size() : isBracketed ? kBrackets.size() : 1);
  // Some put two blanks or more between both.
  constexpr std::size_t kMostBlanks = 4;
  while (before == ' ' && end > 0 && line[end - 1] == ' ' && time.start - end < kMostBlanks) {
    --end;
  }
  end -= before == ' ' && end > 0 && line[end - 1] == ',' ? 1 : 0;
  const bool found =
      ((between == ' ' || between == 'T' || between == '_' || between == '-') &&
       (takeNumericDate(line, end, dated) || takeCompactDate(line, end, dated))) ||
      (between == ' ' && (takeNamedDateWithYear(line, end, dated) || takeLetterDate(line, end, dated) ||
                          takeNamedDate(line, end, dated) || takeShortDate(line, end, dated))) ||
      ((between == ':' || between == ' ') && takeWebDate(line, end, dated));
  if (found) {
    time = dated;
  }
}

}  // namespace halvo
