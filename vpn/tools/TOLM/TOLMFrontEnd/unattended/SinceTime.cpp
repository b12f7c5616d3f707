#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/SinceTime.h"

#include <cstdio>
#include <cstdlib>

namespace halvo {

namespace {

constexpr char kHint[] =
    "a time is 2026-11-21, 2026-11-21T13:00 or 2026-11-21T13:00:00, with a Z behind it for UTC, or a span "
    "before now such as 30m, 12h, 2d or 1w";
constexpr int kMostSpan = 100000;

bool readSpan(const std::string& given, std::time_t now, std::time_t& time) {
  int count = 0;
  char unit = 0;
  int used = 0;
  if (std::sscanf(given.c_str(), "%6d%c%n", &count, &unit, &used) != 2 ||
      used != static_cast<int>(given.size()) || count < 0 || count > kMostSpan) {
    return false;
  }
  const std::time_t seconds = unit == 'm'   ? 60
                              : unit == 'h' ? 3600
                              : unit == 'd' ? 86400
                              : unit == 'w' ? 7 * 86400
                                            : 0;
  time = now - static_cast<std::time_t>(count) * seconds;
  return seconds != 0;
}

bool readDate(std::string given, std::time_t& time) {
  const bool utc = !given.empty() && given.back() == 'Z';
  if (utc) {
    given.pop_back();
  }
  // A date alone, with a time, with seconds: whatever is read has to be all that there is.
  std::tm parts = {};
  for (const char* format :
       {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%dT%H:%M:%S"}) {
    parts = {};
    const char* const end = strptime(given.c_str(), format, &parts);
    if (end == nullptr || *end != '\0') {
      continue;
    }
    const std::tm wanted = parts;
    // Whether summer time holds on that day is the time zone's to say.
    parts.tm_isdst = -1;
    time = utc ? timegm(&parts) : mktime(&parts);
    // 30 February would be taken for a day in March.
    return parts.tm_mday == wanted.tm_mday && parts.tm_mon == wanted.tm_mon;
  }
  return false;
}

}  // namespace

std::string readSinceTime(const std::string& given, std::time_t now, std::string& text) {
  std::time_t time = 0;
  if (!readSpan(given, now, time) && !readDate(given, time)) {
    return kHint;
  }
  // journalctl reads nothing ahead of 1970, and what lies ahead of the run can't have happened since. A clock
  // may be set back meanwhile.
  constexpr std::time_t kAhead = std::time_t{2} * 86400;
  if (time < 0 || time > now + kAhead) {
    return "a time before 1970 or after now holds nothing";
  }
  std::tm parts = {};
  localtime_r(&time, &parts);
  char out[64] = "";
  static_cast<void>(std::strftime(out, sizeof(out), "%Y-%m-%d %H:%M:%S", &parts));
  text = out;
  return "";
}

}  // namespace halvo
