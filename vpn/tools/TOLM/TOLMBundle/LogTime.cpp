#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace halvo {

namespace {

constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<std::string_view, 7> kDays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isDigitAt(std::string_view line, std::size_t at) {
  return at < line.size() && isDigit(line[at]);
}

int twoDigits(std::string_view line, std::size_t at) {
  return (line[at] - '0') * 10 + (line[at + 1] - '0');
}

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
  if (time.start >= 4 && line[time.start - 1] == ' ') {
    for (const std::string_view name : kDays) {
      if (line.substr(time.start - 4, 3) == name) {
        time.start -= 4;
        break;
      }
    }
  }
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

// The date ahead of the time of day that begins at `time.start`.
void takeDate(std::string_view line, LogTime& time) {
  if (time.start == 0) {
    return;
  }
  const char between = line[time.start - 1];
  LogTime dated = time;
  const std::size_t end = time.start - 1;
  const bool found =
      ((between == ' ' || between == 'T' || between == '_') && takeNumericDate(line, end, dated)) ||
      (between == ' ' && takeNamedDate(line, end, dated)) ||
      ((between == ':' || between == ' ') && takeWebDate(line, end, dated));
  if (found) {
    time = dated;
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
  if (time.month != 0 && time.year == 0 && at + 5 <= line.size() && line[at] == ' ' &&
      digitsAhead(line, at + 5) == 4 && !isDigitAt(line, at + 5)) {
    const int year = number(line, at + 1, at + 5);
    if (year >= 1970 && year < 2100) {
      time.year = year;
      time.end = at + 5;
    }
  }
}

bool isWordCharacter(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

std::size_t endOfDigits(std::string_view line, std::size_t at) {
  while (isDigitAt(line, at)) {
    ++at;
  }
  return at;
}

// The following three give the end of what begins at `at`, 0 where nothing of the kind does.

// "20260315T104203Z", the compact form of ISO 8601.
std::size_t endOfCompactTime(std::string_view line, std::size_t at) {
  const std::size_t day = endOfDigits(line, at);
  if (day - at != 8 || day >= line.size() || line[day] != 'T') {
    return 0;
  }
  const std::size_t clock = endOfDigits(line, day + 1);
  if (clock - day - 1 != 6) {
    return 0;
  }
  return clock < line.size() && line[clock] == 'Z' ? clock + 1 : clock;
}

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

// A number in brackets, or behind "pid".
std::size_t endOfProcessId(std::string_view line, std::size_t at) {
  const std::size_t end = endOfDigits(line, at);
  if (at > 0 && (line[at - 1] == '[' || line[at - 1] == '(') && end < line.size() &&
      (line[end] == ']' || line[end] == ')')) {
    return end;
  }
  std::size_t word = at;
  while (word > 0 && at - word < 3 &&
         (line[word - 1] == '=' || line[word - 1] == ' ' || line[word - 1] == ':')) {
    --word;
  }
  if (word == at || word < 3 || (line.substr(word - 3, 3) != "pid" && line.substr(word - 3, 3) != "PID")) {
    return 0;
  }
  // "ppid" too, but no word that only ends so.
  const char before = word > 3 ? line[word - 4] : ' ';
  return before == 'p' || before == 'P' || !isWordCharacter(before) ? end : 0;
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
  // The day back into a date, years beginning in March.
  const std::int64_t shifted = days + 719468;
  const std::int64_t era = shifted / 146097;
  const std::int64_t ofEra = shifted - era * 146097;
  const std::int64_t yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
  const std::int64_t ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t part = (5 * ofYear + 2) / 153;
  const auto day = static_cast<int>(ofYear - (153 * part + 2) / 5 + 1);
  const auto month = static_cast<int>(part < 10 ? part + 3 : part - 9);
  const auto year = static_cast<int>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
  char text[64];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d", year, month, day,
                static_cast<int>(ofDay / 3600), static_cast<int>(ofDay / 60 % 60));
  return text;
}

bool findLogTime(std::string_view line, LogTime& time, std::size_t from, std::size_t limit) {
  line = line.substr(0, limit);
  std::size_t at = from;
  while (at < line.size()) {
    const auto* const colon = static_cast<const char*>(std::memchr(line.data() + at, ':', line.size() - at));
    if (colon == nullptr) {
      return false;
    }
    const std::size_t first = static_cast<std::size_t>(colon - line.data());
    at = first + 1;
    // "hh:mm:ss", and no more digits or colons around it: MAC and IPv6 addresses look alike.
    if (first < from + 2 || first + 6 > line.size() || line[first + 3] != ':' || !isDigit(line[first - 2]) ||
        !isDigit(line[first - 1]) || !isDigit(line[first + 1]) || !isDigit(line[first + 2]) ||
        !isDigit(line[first + 4]) || !isDigit(line[first + 5]) || isDigitAt(line, first + 6) ||
        (first + 6 < line.size() && line[first + 6] == ':' && isDigitAt(line, first + 7))) {
      continue;
    }
    LogTime found;
    found.start = first - 2;
    found.end = first + 6;
    found.hour = twoDigits(line, first - 2);
    found.minute = twoDigits(line, first + 1);
    found.second = twoDigits(line, first + 4);
    // A minute may have a leap second.
    if (found.hour > 23 || found.minute > 59 || found.second > 60) {
      continue;
    }
    takeDate(line, found);
    if (found.month == 0 && found.start > 0 &&
        (isWordCharacter(line[found.start - 1]) || line[found.start - 1] == ':')) {
      continue;
    }
    takeTail(line, found);
    time = found;
    return true;
  }
  return false;
}

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

}  // namespace halvo
