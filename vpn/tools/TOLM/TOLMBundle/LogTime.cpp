#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

#include <cstdio>
#include <cstring>

#include "vpn/tools/TOLM/TOLMBundle/LineBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/LogDate.h"

namespace halvo {

namespace {

// Twelve hours in two halves of a day, as " PM" or "PM" behind the time says.
void takeHalfOfDay(std::string_view line, LogTime& time) {
  const std::size_t at = time.end + (time.end < line.size() && line[time.end] == ' ' ? 1 : 0);
  if (at + 2 > line.size() || (line[at + 1] != 'M' && line[at + 1] != 'm') ||
      (at + 2 < line.size() && isWordCharacter(line[at + 2])) || time.hour < 1 || time.hour > 12) {
    return;
  }
  const char half = line[at];
  if (half == 'A' || half == 'a' || half == 'P' || half == 'p') {
    time.hour = time.hour % 12 + (half == 'P' || half == 'p' ? 12 : 0);
    time.end = at + 2;
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

// Whether nothing goes on at `at`, as "2001:db8::1" does behind "2001".
bool isWordsEnd(std::string_view line, std::size_t at) {
  constexpr std::string_view kJoins = ":-/.,";
  return at >= line.size() ||
         (!isWordCharacter(line[at]) &&
          (kJoins.find(line[at]) == std::string_view::npos || at + 1 == line.size() || line[at + 1] == ' '));
}

// " 2026" behind a time with a named month, or " CET 2026". In logs any number may stand there: it is the
// year where the date has its day's name, or where the time ends with it.
void takeYear(std::string_view line, LogTime& time) {
  const std::size_t at = endOfZone(line, time.end);
  const std::size_t end = at + 5;
  if (end > line.size() || line[at] != ' ' || digitsAhead(line, end) != 4 || !isWordsEnd(line, end)) {
    return;
  }
  const int year = numberOf(line, at + 1, end);
  constexpr std::string_view kEnds = "])}>\"'<;";
  const bool isLast = end == line.size() || endOfZone(line, end) > end;
  const bool isLikely = isYear(year) && (isLast || isDayName(line.substr(time.start, 3)) ||
                                         kEnds.find(line[end]) != std::string_view::npos);
  // Certificates are valid from and until any year, and have their zone behind it.
  if (isLikely || (year > 0 && at == time.end && isLast)) {
    time.year = year;
    time.end = end;
  }
}

// The names of the zones that have one. Other words in capitals are levels and the like.
bool isZoneName(std::string_view word) {
  constexpr std::string_view kNames =
      " ACDT ACST ADT AEDT AEST AKDT AKST AST AWST BST CAT CDT CEST CET CST EAT EDT EEST EET EST GMT HDT HKT "
      "HST IDT IST JST KST MDT MSK MST NDT NST NZDT NZST PDT PKT PST SAST SST UTC WAT WEST WET WIB WIT WITA ";
  const std::size_t at = kNames.find(word);
  return at != std::string_view::npos && kNames[at - 1] == ' ' && kNames[at + word.size()] == ' ';
}

// " +0100", " CET" or " GMT+0100", which a year is ahead of: behind other times they may be anything.
void takeZone(std::string_view line, LogTime& time) {
  const std::size_t at = time.end;
  if (at >= line.size() || line[at] != ' ') {
    return;
  }
  const std::size_t name = endOfZone(line, at);
  if (name > at && !isZoneName(line.substr(at + 1, name - at - 1))) {
    return;
  }
  const std::size_t offset = name > at ? name : at + 1;
  const bool isSigned = offset < line.size() && (line[offset] == '+' || line[offset] == '-');
  const std::size_t end = isSigned ? endOfOffset(line, offset) : offset;
  if (end > at + 1 && (isWordsEnd(line, end) || line[end] == ',')) {
    time.end = end;
  }
}

// What may stand behind the seconds: a fraction, a zone, a year.
void takeTail(std::string_view line, LogTime& time) {
  std::size_t at = time.end;
  if (const std::size_t fraction = endOfFraction(line, at); fraction > at) {
    at = fraction;
  } else if (time.month != 0 && at < line.size() && line[at] == ':') {
    // Some put a colon ahead of the thousandths.
    const std::size_t end = endOfDigits(line, at + 1);
    at = end - at == 4 && isWordsEnd(line, end) ? end : at;
  }
  at = endOfOffset(line, at);
  time.end = at;
  takeHalfOfDay(line, time);
  if (time.month != 0 && time.year == 0) {
    takeYear(line, time);
  }
  if (time.year != 0) {
    takeZone(line, time);
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

// Whether a further part of an address stands here: ":ab", "::". Behind a date it takes two of them.
bool isPartOfAddress(std::string_view line, std::size_t at, bool isDated) {
  if (at + 1 >= line.size() || line[at] != ':') {
    return false;
  }
  std::size_t end = at + 1;
  while (end < line.size() && (isDigit(line[end]) || (line[end] >= 'a' && line[end] <= 'f') ||
                               (line[end] >= 'A' && line[end] <= 'F'))) {
    ++end;
  }
  if (isDated) {
    return end + 1 < line.size() && line[end] == ':' && line[end + 1] != ' ';
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
      !isDigit(line[colon + 5]) || isDigitAt(line, colon + 6)) {
    return false;
  }
  const bool isLong = colon >= from + 2 && isDigit(line[colon - 2]);
  LogTime found;
  found.start = colon - (isLong ? 2 : 1);
  found.end = colon + 6;
  found.hour = numberOf(line, found.start, colon);
  found.minute = twoDigits(line, colon + 1);
  found.second = twoDigits(line, colon + 4);
  // A minute may have a leap second.
  if (found.hour > 23 || found.minute > 59 || found.second > 60) {
    return false;
  }
  takeDate(line, found);
  if (isPartOfAddress(line, colon + 6, found.month != 0)) {
    return false;
  }
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
  std::size_t at = colon + 1;
  at += at < line.size() && line[at] == ' ' ? 1 : 0;
  at += at < line.size() && line[at] == '"' ? 1 : 0;
  // The last is the journal's, in millionths.
  for (const std::string_view key :
       {"\"ts", "\"time", "\"timestamp", "\"@timestamp", "_REALTIME_TIMESTAMP"}) {
    if (front.size() >= key.size() && front.substr(front.size() - key.size()) == key) {
      return takeEpoch(line, at, time);
    }
  }
  return false;
}

// "audit(1773571327.123:456)": seconds with thousandths, and which of them it is.
bool takeAuditEpoch(std::string_view line, std::size_t colon, std::size_t from, LogTime& time) {
  constexpr std::string_view kName = "audit(";
  constexpr std::size_t kLength = kEpochDigits + 4;
  LogTime found;
  if (colon < from + kName.size() + kLength ||
      line.substr(colon - kLength - kName.size(), kName.size()) != kName ||
      !takeEpoch(line, colon - kLength, found) || found.end != colon || !isDigitAt(line, colon + 1)) {
    return false;
  }
  found.end = endOfDigits(line, colon + 1);
  time = found;
  return true;
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
  found.year = numberOf(line, start, start + 4);
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
  const auto next = [](std::string_view text, char middle, std::size_t at) {
    const void* const found =
        at < text.size() ? std::memchr(text.data() + at, middle, text.size() - at) : nullptr;
    return found == nullptr ? text.size()
                            : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
  };
  std::string_view front = line;
  for (std::size_t at = next(line, ':', from); at < line.size(); at = next(line, ':', at + 1)) {
    if (takeClock(line, at, from, bare, time) || takeJsonEpoch(line, at, from, time) ||
        takeAuditEpoch(line, at, from, time)) {
      front = line.substr(0, time.start);
      break;
    }
  }
  for (std::size_t at = next(front, 'T', from); at < front.size(); at = next(front, 'T', at + 1)) {
    if (takeCompact(front, at, from, time)) {
      return true;
    }
  }
  return front.size() < line.size();
}

}  // namespace halvo
