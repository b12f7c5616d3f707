// The C library's header, with what macOS' has besides.

#pragma once

#include_next <fcntl.h>

// For folders alone, as it is on macOS.
#if !defined(O_SEARCH)
#define O_SEARCH (O_PATH | O_DIRECTORY)
#endif
