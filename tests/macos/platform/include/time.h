// The C library's header, with what macOS' has besides.

#pragma once

#include_next <time.h>

#if !defined(CLOCK_UPTIME_RAW)
#define CLOCK_UPTIME_RAW CLOCK_MONOTONIC
#endif
