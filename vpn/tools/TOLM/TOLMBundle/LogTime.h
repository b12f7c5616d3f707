// LogTime: the times in the lines of logs, in the forms that are common: ISO 8601, also in its compact form,
// syslog's, asctime's, those of mail and of web servers, dates with slashes or without any mark, a time of
// day alone, and seconds since 1970 at a line's front or behind the keys of JSON. Seconds since the machine's
// start are no time here. Free functions without state, linear in the line.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halvo {

struct LogTime {
  std::size_t start = 0;  // of the date and time in the line
  std::size_t end = 0;
  int year = 0;   // 0 where the line has none
  int month = 0;  // 0 where the line has no date
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

// Where a time of day without a date counts: at the line's front and behind "[" alone, or wherever one
// stands, be it that something took so long.
enum class BareClock { kAtFront, kAnywhere };

// The first time at or behind `from`; false where there is none. Looks at the line's first `limit` bytes.
bool findLogTime(std::string_view line, LogTime& time, std::size_t from = 0, std::size_t limit = 4096,
                 BareClock bare = BareClock::kAtFront);

// Days since 1970-01-01 (Gregorian).
std::int64_t daysOfDate(int year, int month, int day);

inline constexpr std::int64_t kSecondsOfDay = 86400;

// Seconds since 1970-01-01, without regard to zones. A time without a year is of the twelve months up to the
// day behind `now`; one without a date has none.
std::optional<std::int64_t> secondsOf(const LogTime& time, std::int64_t now);

// "2026-03-15 10:42" of seconds since 1970-01-01.
std::string minuteText(std::int64_t seconds);

}  // namespace halvo
