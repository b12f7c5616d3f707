// LineBytes: small tests on the bytes of a line, for those that look for times and process ids in it.

#pragma once

#include <cstddef>
#include <string_view>

namespace halvo {

inline bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

inline bool isDigitAt(std::string_view line, std::size_t at) {
  return at < line.size() && isDigit(line[at]);
}

inline bool isWordCharacter(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

inline std::size_t endOfDigits(std::string_view line, std::size_t at) {
  while (isDigitAt(line, at)) {
    ++at;
  }
  return at;
}

// The following give the end of what begins at `at`, 0 where nothing of the kind does.

inline int twoDigits(std::string_view line, std::size_t at) {
  return (line[at] - '0') * 10 + (line[at + 1] - '0');
}

// "Z", "+0100" or "+01:00" behind a time; `at` where none stands there.
inline std::size_t endOfOffset(std::string_view line, std::size_t at) {
  constexpr int kMostHours = 14;
  if (at < line.size() && line[at] == 'Z') {
    return at + 1;
  }
  if (at + 4 >= line.size() || (line[at] != '+' && line[at] != '-') || !isDigit(line[at + 1]) ||
      !isDigit(line[at + 2]) || twoDigits(line, at + 1) > kMostHours) {
    return at;
  }
  const std::size_t minutes = line[at + 3] == ':' ? at + 4 : at + 3;
  const bool isThere = endOfDigits(line, minutes) == minutes + 2 && twoDigits(line, minutes) % 15 == 0;
  return isThere ? minutes + 2 : at;
}

// ".123" or ",123" behind a second; `at` where none stands there. What is between commas is a column of its
// own.
inline std::size_t endOfFraction(std::string_view line, std::size_t at) {
  const std::size_t end = isDigitAt(line, at + 1) ? endOfDigits(line, at + 1) : at;
  if (end == at || (line[at] != '.' && line[at] != ',')) {
    return at;
  }
  const bool isColumn = (end - at) % 3 != 1 || (end < line.size() && line[end] == ',');
  return line[at] == ',' && isColumn ? at : end;
}

// "20260315T104203Z", the compact form of ISO 8601, also with a fraction.
inline std::size_t endOfCompactTime(std::string_view line, std::size_t at) {
  const std::size_t day = endOfDigits(line, at);
  if (day - at != 8 || day >= line.size() || line[day] != 'T') {
    return 0;
  }
  const std::size_t clock = endOfDigits(line, day + 1);
  if (clock - day - 1 != 6) {
    return 0;
  }
  const int month = twoDigits(line, at + 4);
  const int ofMonth = twoDigits(line, at + 6);
  // A minute may have a leap second.
  if (month < 1 || month > 12 || ofMonth < 1 || ofMonth > 31 || twoDigits(line, day + 1) > 23 ||
      twoDigits(line, day + 3) > 59 || twoDigits(line, day + 5) > 60) {
    return 0;
  }
  constexpr std::size_t kShortestFraction = 4;  // names of files may go on with a digit
  const std::size_t fraction = clock < line.size() && line[clock] == '.' ? endOfFraction(line, clock) : clock;
  return endOfOffset(line, fraction - clock >= kShortestFraction ? fraction : clock);
}

inline constexpr std::size_t kEpochDigits = 10;

// Seconds since 1970-01-01, of 2001 and later, with a fraction, in thousandths or in millionths:
// "1773571327.123".
inline std::size_t endOfEpoch(std::string_view line, std::size_t at) {
  const std::size_t end = endOfDigits(line, at);
  const std::size_t digits = end - at;
  if ((digits != kEpochDigits && digits != kEpochDigits + 3 && digits != kEpochDigits + 6) ||
      line[at] != '1') {
    return 0;
  }
  const bool fraction =
      digits == kEpochDigits && end < line.size() && line[end] == '.' && isDigitAt(line, end + 1);
  return fraction ? endOfDigits(line, end + 1) : end;
}

}  // namespace halvo
