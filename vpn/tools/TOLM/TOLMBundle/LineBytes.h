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

// "20260315T104203Z", the compact form of ISO 8601.
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
  return clock < line.size() && line[clock] == 'Z' ? clock + 1 : clock;
}

inline constexpr std::size_t kEpochDigits = 10;

// Seconds since 1970-01-01, of 2001 and later, with a fraction or in thousandths: "1773571327.123".
inline std::size_t endOfEpoch(std::string_view line, std::size_t at) {
  const std::size_t end = endOfDigits(line, at);
  const std::size_t digits = end - at;
  if ((digits != kEpochDigits && digits != kEpochDigits + 3) || line[at] != '1') {
    return 0;
  }
  const bool fraction =
      digits == kEpochDigits && end < line.size() && line[end] == '.' && isDigitAt(line, end + 1);
  return fraction ? endOfDigits(line, end + 1) : end;
}

}  // namespace halvo
