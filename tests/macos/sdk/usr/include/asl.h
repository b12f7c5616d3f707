// Stand-in for macOS' older system log: the three calls that this system uses.

#pragma once

#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

typedef struct __asl_object_s* asl_object_t;
typedef asl_object_t aslclient;
typedef asl_object_t aslmsg;

asl_object_t asl_open(const char* ident, const char* facility, uint32_t options);
int asl_log(asl_object_t client, asl_object_t message, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
void asl_close(asl_object_t client);

#if defined(__cplusplus)
}
#endif
