// What the log back-ends share: the subsystem's name, the host's numeric level, and the form of a
// message that must stay on one line. Constant or local, for any thread.

#pragma once

#include <cstdint>
#include <string>

namespace halvo {

// The name under which the suite's records stand in a host's log.
inline constexpr char kLogSubsystem[] = "com.halvo.tessarmont.vpn";

// The level of the host's log, 0 (emergency) to 7 (debug), as syslog(3) counts them. A severity below
// 7 is the level itself; from 7 up the caller's letter decides: E 3, W 4, I and T 6, any other 7.
int systemLevel(std::uint32_t severity, int level);

// A copy of `text` with each line feed replaced by one blank.
std::string onOneLine(std::string text);

}  // namespace halvo
