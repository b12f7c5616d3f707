// A point in time that a user names, for commands that list what happened since then.

#pragma once

#include <ctime>
#include <string>

namespace halvo {

// Reads "2026-11-21", "2026-11-21 13:00", "2026-11-21 13:00:00" (with a "T" in place of the blank too), of
// the machine's own time, the same with a "Z" behind for UTC, and "30m", "12h", "2d", "1w" for a time before
// `now`. Writes the absolute form that journalctl reads, "2026-11-21 13:00:00" of the machine's own time,
// into `text`. Returns what is wrong with `given`; empty if nothing is.
std::string readSinceTime(const std::string& given, std::time_t now, std::string& text);

}  // namespace halvo
