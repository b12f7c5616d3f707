// The C library's header, with what macOS' has besides.

#pragma once

#include_next <stdlib.h>

#if defined(__cplusplus)
extern "C" {
#endif
const char* getprogname(void);
#if defined(__cplusplus)
}
#endif
