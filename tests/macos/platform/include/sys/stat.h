// The C library's header, with the name that macOS has for the time of a change.

#pragma once

#include_next <sys/stat.h>

#define st_ctimespec st_ctim
