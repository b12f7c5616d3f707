// The C library's header, with what macOS' has besides.

#pragma once

#include_next <stdio.h>

#define RENAME_EXCL 0x00000004

#if defined(__cplusplus)
extern "C" {
#endif
int renameatx_np(int oldFolder, const char* oldName, int newFolder, const char* newName, unsigned int flags);
#if defined(__cplusplus)
}
#endif
