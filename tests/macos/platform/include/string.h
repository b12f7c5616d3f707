// The C library's header, with what macOS' has besides.

#pragma once

#include_next <string.h>

#if defined(__cplusplus)
extern "C" {
#endif
int memset_s(void* block, size_t size, int value, size_t count);
#if defined(__cplusplus)
}
#endif
