// LogDate: the dates that stand ahead of a time of day in the lines of logs. For LogTime.

#pragma once

#include <cstddef>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/LineBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

namespace halvo {

// The number of digits that end ahead of `end`, four at most.
inline std::size_t digitsAhead(std::string_view line, std::size_t end) {
  std::size_t count = 0;
  while (count < 4 && count < end && isDigit(line[end - count - 1])) {
    ++count;
  }
  return count;
}

inline int numberOf(std::string_view line, std::size_t start, std::size_t end) {
  int value = 0;
  for (std::size_t i = start; i < end; ++i) {
    value = value * 10 + (line[i] - '0');
  }
  return value;
}

bool isDayName(std::string_view word);

// A year of logs: other numbers of four digits may be anything.
bool isYear(int number);

// Takes the date ahead of the time of day that begins at `time.start`, and begins there then.
void takeDate(std::string_view line, LogTime& time);

}  // namespace halvo
