#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "vpn/tools/TOLM/TOLMBundle/LineBytes.h"

namespace halvo {

namespace {

constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<std::string_view, 7> kDays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

// The number of digits that end ahead of `end`, four at most.
std::size_t digitsAhead(std::string_view line, std::size_t end) {
  std::size_t count = 0;
  while (count < 4 && count < end && isDigit(line[end - count - 1])) {
    ++count;
  }
  return count;
}

int number(std::string_view line, std::size_t start, std::size_t end) {
  int value = 0;
  for (std::size_t i = start; i < end; ++i) {
    value = value * 10 + (line[i] - '0');
  }
  return value;
}

int monthOf(std::string_view word) {
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    if (word == kMonths[i]) {
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
  const std::string_view name = line.substr(time.start - length, 3);
  if (std::find(kDays.begin(), kDays.end(), name) != kDays.end()) {
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
    parts[i] = number(line, at - count, at);
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

// "Mar 15" or "Mar  5", ending ahead of `end`, with the name of the day in front where there is one.
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
  time.month = monthOf(line.substr(at - 3, 3));
  time.day = number(line, day, end);
  time.start = at - 3;
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
  time.year = number(line, at + 7, end);
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
  time.day = number(line, day - count, day);
  time.month = monthOf(line.substr(day + 1, 3));
  time.year = number(line, end - 4, end);
  time.start = day - count;
  takeDayName(line, ", ", time);
  takeDayName(line, " ", time);
  return isDate(time);
}

// "Mar 15, 2026", ending ahead of `end`.
bool takeNamedDateWithYear(std::string_view line, std::size_t end, LogTime& time) {
  constexpr std::size_t kYear = 6;  // ", 2026"
  if (end < kYear || digitsAhead(line, end) != 4 || line.substr(end - kYear, 2) != ", " ||
      !takeNamedDate(line, end - kYear, time)) {
    return false;
  }
  time.year = number(line, end - 4, end);
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

// The date ahead of the time of day that begins at `time.start`.
void takeDate(std::string_view line, LogTime& time) {
  if (time.start == 0) {
    return;
  }
  const char between = line[time.start - 1];
  LogTime dated = time;
  std::size_t end = time.start - 1;
  // Some put two blanks or more between both.
  constexpr std::size_t kMostBlanks = 4;
  while (between == ' ' && end > 0 && line[end - 1] == ' ' && time.start - end < kMostBlanks) {
    --end;
  }
  end -= between == ' ' && end > 0 && line[end - 1] == ',' ? 1 : 0;
  const bool found =
      ((between == ' ' || between == 'T' || between == '_') && takeNumericDate(line, end, dated)) ||
      (between == ' ' && (takeNamedDateWithYear(line, end, dated) || takeLetterDate(line, end, dated) ||
                          takeNamedDate(line, end, dated) || takeShortDate(line, end, dated))) ||
      ((between == ':' || between == ' ') && takeWebDate(line, end, dated));
  if (found) {
    time = dated;
  }
}

// Twelve hours in two halves of a day, as " PM" behind the time says.
void takeHalfOfDay(std::string_view line, LogTime& time) {
  const std::size_t at = time.end;
  if (at + 3 > line.size() || line[at] != ' ' || (line[at + 2] != 'M' && line[at + 2] != 'm') ||
      (at + 3 < line.size() && isWordCharacter(line[at + 3])) || time.hour < 1 || time.hour > 12) {
    return;
  }
  const char half = line[at + 1];
  if (half == 'A' || half == 'a' || half == 'P' || half == 'p') {
    time.hour = time.hour % 12 + (half == 'P' || half == 'p' ? 12 : 0);
    time.end = at + 3;
  }
}

// The end of a zone's name that stands behind a blank: " CET".
std::size_t endOfZone(std::string_view line, std::size_t at) {
  std::size_t end = at + 1;
  while (at < line.size() && line[at] == ' ' && end < line.size() && line[end] >= 'A' && line[end] <= 'Z') {
    ++end;
  }
  return end - at - 1 >= 2 && end - at - 1 <= 5 && (end == line.size() || !isWordCharacter(line[end])) ? end
                                                                                                       : at;
}

// " 2026" behind a time with a named month, or " CET 2026".
void takeYear(std::string_view line, LogTime& time) {
  const std::size_t at = endOfZone(line, time.end);
  const std::size_t end = at + 5;
  if (end > line.size() || line[at] != ' ' || digitsAhead(line, end) != 4 ||
      (end < line.size() && isWordCharacter(line[end]))) {
    return;
  }
  const int year = number(line, at + 1, end);
  // Certificates are valid from and until any year, and have their zone behind it. Elsewhere it may be
  // another number.
  const bool isLikely = year >= 1970 && year < 2100;
  if (isLikely || (year > 0 && at == time.end && (end == line.size() || endOfZone(line, end) > end))) {
    time.year = year;
    time.end = end;
  }
}

// What may stand behind the seconds: a fraction, a zone, a year.
void takeTail(std::string_view line, LogTime& time) {
  std::size_t at = time.end;
  if (at < line.size() && (line[at] == '.' || line[at] == ',') && isDigitAt(line, at + 1)) {
    ++at;
    while (isDigitAt(line, at)) {
      ++at;
    }
  }
  if (at < line.size() && line[at] == 'Z') {
    ++at;
  } else if (at + 4 < line.size() && (line[at] == '+' || line[at] == '-') && isDigit(line[at + 1]) &&
             isDigit(line[at + 2])) {
    const std::size_t minutes = line[at + 3] == ':' ? at + 4 : at + 3;
    if (isDigitAt(line, minutes) && isDigitAt(line, minutes + 1)) {
      at = minutes + 2;
    }
  }
  time.end = at;
  takeHalfOfDay(line, time);
  if (time.month != 0 && time.year == 0) {
    takeYear(line, time);
  }
}

// Days since 1970-01-01 back into a date, years beginning in March.
void setDays(std::int64_t days, LogTime& time) {
  const std::int64_t shifted = days + 719468;
  const std::int64_t era = shifted / 146097;
  const std::int64_t ofEra = shifted - era * 146097;
  const std::int64_t yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
  const std::int64_t ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t part = (5 * ofYear + 2) / 153;
  time.day = static_cast<int>(ofYear - (153 * part + 2) / 5 + 1);
  time.month = static_cast<int>(part < 10 ? part + 3 : part - 9);
  time.year = static_cast<int>(yearOfEra + era * 400 + (time.month <= 2 ? 1 : 0));
}

bool hasHalfOfDay(std::string_view line, const LogTime& time) {
  LogTime behind = time;
  takeHalfOfDay(line, behind);
  return behind.end != time.end;
}

// Whether a further part of an address stands here: ":ab", "::".
bool isPartOfAddress(std::string_view line, std::size_t at) {
  if (at + 1 >= line.size() || line[at] != ':') {
    return false;
  }
  std::size_t end = at + 1;
  while (end < line.size() && (isDigit(line[end]) || (line[end] >= 'a' && line[end] <= 'f') ||
                               (line[end] >= 'A' && line[end] <= 'F'))) {
    ++end;
  }
  return isDigit(line[at + 1]) || line[at + 1] == ':' ||
         (end > at + 1 && end - at <= 5 && (end == line.size() || !isWordCharacter(line[end])));
}

// Whether a time of day without a date is one that the line bears: what stands further behind may be how
// long something took.
bool isAtFront(std::string_view line, std::size_t start) {
  return line[start == 0 ? 0 : start - 1] == '[' || line.find_first_not_of(" \t") == start;
}

// "hh:mm:ss" around its first colon, with what stands around it; an hour of one digit has a date in front of
// it or "PM" behind.
bool takeClock(std::string_view line, std::size_t colon, std::size_t from, BareClock bare, LogTime& time) {
  // No more digits or parts around it: MAC and IPv6 addresses look alike.
  if (colon < from + 1 || colon + 6 > line.size() || line[colon + 3] != ':' || !isDigit(line[colon - 1]) ||
      !isDigit(line[colon + 1]) || !isDigit(line[colon + 2]) || !isDigit(line[colon + 4]) ||
      !isDigit(line[colon + 5]) || isDigitAt(line, colon + 6) || isPartOfAddress(line, colon + 6)) {
    return false;
  }
  const bool isLong = colon >= from + 2 && isDigit(line[colon - 2]);
  LogTime found;
  found.start = colon - (isLong ? 2 : 1);
  found.end = colon + 6;
  found.hour = number(line, found.start, colon);
  found.minute = twoDigits(line, colon + 1);
  found.second = twoDigits(line, colon + 4);
  // A minute may have a leap second.
  if (found.hour > 23 || found.minute > 59 || found.second > 60) {
    return false;
  }
  takeDate(line, found);
  const bool isBound =
      found.start > 0 && (isWordCharacter(line[found.start - 1]) || line[found.start - 1] == ':');
  if (found.month == 0 && (isBound || (!isLong && !hasHalfOfDay(line, found)) ||
                           (bare == BareClock::kAtFront && !isAtFront(line, found.start)))) {
    return false;
  }
  takeTail(line, found);
  time = found;
  return true;
}

// Seconds since 1970-01-01 as a date.
void setSeconds(std::int64_t seconds, LogTime& time) {
  const std::int64_t ofDay = seconds % kSecondsOfDay;
  setDays(seconds / kSecondsOfDay, time);
  time.hour = static_cast<int>(ofDay / 3600);
  time.minute = static_cast<int>(ofDay / 60 % 60);
  time.second = static_cast<int>(ofDay % 60);
}

bool takeEpoch(std::string_view line, std::size_t at, LogTime& time) {
  const std::size_t end = endOfEpoch(line, at);
  if (end == 0) {
    return false;
  }
  std::int64_t seconds = 0;
  for (std::size_t i = at; i < at + kEpochDigits; ++i) {
    seconds = seconds * 10 + (line[i] - '0');
  }
  setSeconds(seconds, time);
  time.start = at;
  time.end = end;
  return true;
}

// Seconds since 1970-01-01 at the line's front: in brackets, or with a fraction. What else stands there may
// be any number.
bool takeFrontEpoch(std::string_view line, LogTime& time) {
  const bool bracket = !line.empty() && line[0] == '[';
  LogTime found;
  if (!takeEpoch(line, bracket ? 1 : 0, found) || found.end == line.size()) {
    return false;
  }
  const char behind = line[found.end];
  const bool fraction = found.end - found.start > kEpochDigits + 1 && line[found.start + kEpochDigits] == '.';
  if (bracket ? behind != ']' : !fraction || (behind != ' ' && behind != '\t')) {
    return false;
  }
  time = found;
  return true;
}

// The same behind the keys that JSON logs have for it.
bool takeJsonEpoch(std::string_view line, std::size_t colon, std::size_t from, LogTime& time) {
  if (colon < from + 2 || line[colon - 1] != '"') {
    return false;
  }
  const std::string_view front = line.substr(0, colon - 1);
  for (const std::string_view key : {"\"ts", "\"time", "\"timestamp"}) {
    if (front.size() >= key.size() && front.substr(front.size() - key.size()) == key) {
      return takeEpoch(line, colon + (colon + 1 < line.size() && line[colon + 1] == ' ' ? 2 : 1), time);
    }
  }
  return false;
}

// "20260315T104203Z", the compact form of ISO 8601, around its "T".
bool takeCompact(std::string_view line, std::size_t middle, std::size_t from, LogTime& time) {
  constexpr std::size_t kDate = 8;
  if (middle < from + kDate || (middle > kDate && isWordCharacter(line[middle - kDate - 1]))) {
    return false;
  }
  const std::size_t start = middle - kDate;
  const std::size_t end = endOfCompactTime(line, start);
  if (end == 0) {
    return false;
  }
  LogTime found;
  found.start = start;
  found.end = end;
  found.year = number(line, start, start + 4);
  found.month = twoDigits(line, start + 4);
  found.day = twoDigits(line, start + 6);
  found.hour = twoDigits(line, middle + 1);
  found.minute = twoDigits(line, middle + 3);
  found.second = twoDigits(line, middle + 5);
  time = found;
  return true;
}

}  // namespace

std::int64_t daysOfDate(int year, int month, int day) {
  // Years begin in March here, so that the day that comes and goes stands at their end.
  const std::int64_t shifted = month <= 2 ? year - 1 : year;
  const std::int64_t era = shifted / 400;
  const std::int64_t ofEra = shifted - era * 400;
  const std::int64_t ofYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + ofEra * 365 + ofEra / 4 - ofEra / 100 + ofYear - 719468;
}

std::optional<std::int64_t> secondsOf(const LogTime& time, std::int64_t now) {
  if (time.month == 0) {
    return std::nullopt;
  }
  const std::int64_t ofDay = time.hour * 3600 + time.minute * 60 + time.second;
  if (time.year != 0) {
    return daysOfDate(time.year, time.month, time.day) * kSecondsOfDay + ofDay;
  }
  int year = 1969 + static_cast<int>(now / (366 * kSecondsOfDay));
  std::int64_t seconds = 0;
  // From below: the estimate of the year is short by one or two.
  for (int i = 0; i < 4; ++i, ++year) {
    const std::int64_t next = daysOfDate(year, time.month, time.day) * kSecondsOfDay + ofDay;
    if (i > 0 && next > now + kSecondsOfDay) {
      break;
    }
    seconds = next;
  }
  return seconds;
}

std::string minuteText(std::int64_t seconds) {
  const std::int64_t days = seconds / kSecondsOfDay - (seconds % kSecondsOfDay < 0 ? 1 : 0);
  const std::int64_t ofDay = seconds - days * kSecondsOfDay;
  LogTime date;
  setDays(days, date);
  char text[64];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d", date.year, date.month, date.day,
                static_cast<int>(ofDay / 3600), static_cast<int>(ofDay / 60 % 60));
  return text;
}

bool findLogTime(std::string_view line, LogTime& time, std::size_t from, std::size_t limit, BareClock bare) {
  line = line.substr(0, limit);
  if (from == 0 && takeFrontEpoch(line, time)) {
    return true;
  }
  // The byte that a form has in its middle finds it: most lines have few.
  const auto next = [line](char middle, std::size_t at) {
    const void* const found =
        at < line.size() ? std::memchr(line.data() + at, middle, line.size() - at) : nullptr;
    return found == nullptr ? line.size()
                            : static_cast<std::size_t>(static_cast<const char*>(found) - line.data());
  };
  for (std::size_t at = next(':', from); at < line.size(); at = next(':', at + 1)) {
    if (takeClock(line, at, from, bare, time) || takeJsonEpoch(line, at, from, time)) {
      return true;
    }
  }
  for (std::size_t at = next('T', from); at < line.size(); at = next('T', at + 1)) {
    if (takeCompact(line, at, from, time)) {
      return true;
    }
  }
  return false;
}

}  // namespace halvo
