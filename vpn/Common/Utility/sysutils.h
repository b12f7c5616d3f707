// Free functions over the host's C library: clocks, time texts, small file operations.

#pragma once

#include <cstdint>
#include <string>

namespace halvo {

// usleep(ms * 1000), in unsigned 32-bit arithmetic.
void sleepMilliseconds(std::uint32_t ms);

// Milliseconds of the wall clock as 32 bits, wrapping after some 49.7 days: callers work with
// differences. 0 if the clock can't be read.
std::uint32_t tickMilliseconds();

// The local time of this moment as text. Selector 1: "_%02d%02d_%02d%02d" of month, day, hour and
// minute; 2: asctime, with its line feed; any other: strftime with "%c", which follows the locale.
std::string timeText(int selector);

// 22 (EINVAL) for a null path; otherwise 0 or the errno of unlink.
int unlink_file(const char* path);

}  // namespace halvo
