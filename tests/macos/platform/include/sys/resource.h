// The C library's header, with what macOS' has besides.

#pragma once

#include_next <sys/resource.h>

#define PRIO_DARWIN_PROCESS 4
#define PRIO_DARWIN_BG 0x1000
