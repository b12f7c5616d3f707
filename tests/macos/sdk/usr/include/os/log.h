// Stand-in for macOS' unified log: the calls behind its macros, which this system uses itself.

#pragma once

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

typedef struct os_log_s* os_log_t;
typedef uint8_t os_log_type_t;

// The system's own header brings this one along, and not const: a source that declares it, too, must say the
// same.
extern struct mach_header __dso_handle;

extern struct os_log_s _os_log_default;
#define OS_LOG_DEFAULT (&_os_log_default)

os_log_t _os_log_create(void* dso, const char* subsystem, const char* category);
void _os_log_internal(void* dso, os_log_t log, os_log_type_t type, const char* format, ...);

#if defined(__cplusplus)
}
#endif
