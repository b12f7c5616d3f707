// Stand-in for macOS' CoreServices: the one call that this system uses.

#pragma once

#include <CoreFoundation/CoreFoundation.h>

#if !defined(__APPLE__)
typedef UInt32 OSType;
typedef signed short OSErr;
#endif

#if defined(__cplusplus)
extern "C" {
#endif

OSErr Gestalt(OSType selector, SInt32* response);

#if defined(__cplusplus)
}
#endif
