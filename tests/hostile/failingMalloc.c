/* A preloaded malloc that says no: for tests of what a program does without memory.
 *
 *   TOLM_HOSTILE_PROGRAM  the program that it counts in (its short name); in others it only passes on
 *   TOLM_HOSTILE_FAIL     the number of the allocation to fail, from 1; 0 or nothing for none
 *   TOLM_HOSTILE_ON       set: all from that one on fail
 *   TOLM_HOSTILE_COUNT    a file that receives the count of allocations at the program's end
 *
 * glibc only: its own functions stay reachable under names of their own. */

#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* old, size_t size);
extern void* __libc_memalign(size_t alignment, size_t size);

static atomic_long s_count;
static atomic_int s_isReady; /* 1: counts, -1: another program */
static long s_failing;
static int s_goesOn;
static pid_t s_process;

static void begin(void) {
  const char* program = getenv("TOLM_HOSTILE_PROGRAM");
  const char* failing = getenv("TOLM_HOSTILE_FAIL");
  s_failing = failing != NULL ? atol(failing) : 0;
  s_goesOn = getenv("TOLM_HOSTILE_ON") != NULL;
  s_process = getpid();
  s_isReady = program != NULL && strcmp(program, program_invocation_short_name) == 0 ? 1 : -1;
}

/* Before the program's name is known nothing is counted: the loader is no part of the program. */
static int mayHave(void) {
  if (s_isReady == 0) {
    if (environ == NULL || program_invocation_short_name == NULL || program_invocation_short_name[0] == '\0') {
      return 1;
    }
    begin();
  }
  if (s_isReady < 0) {
    return 1;
  }
  const long number = ++s_count;
  if (s_failing == 0 || (s_goesOn ? number < s_failing : number != s_failing)) {
    return 1;
  }
  errno = ENOMEM;
  return 0;
}

void* malloc(size_t size) {
  return mayHave() ? __libc_malloc(size) : NULL;
}

void* calloc(size_t count, size_t size) {
  return mayHave() ? __libc_calloc(count, size) : NULL;
}

void* realloc(void* old, size_t size) {
  return mayHave() ? __libc_realloc(old, size) : NULL;
}

void* memalign(size_t alignment, size_t size) {
  return mayHave() ? __libc_memalign(alignment, size) : NULL;
}

void* aligned_alloc(size_t alignment, size_t size) {
  return mayHave() ? __libc_memalign(alignment, size) : NULL;
}

int posix_memalign(void** place, size_t alignment, size_t size) {
  void* found = mayHave() ? __libc_memalign(alignment, size) : NULL;
  if (found == NULL) {
    return ENOMEM;
  }
  *place = found;
  return 0;
}

__attribute__((destructor)) static void end(void) {
  const char* path = getenv("TOLM_HOSTILE_COUNT");
  if (s_isReady <= 0 || path == NULL || getpid() != s_process) {
    return;
  }
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  char text[32];
  const int length = snprintf(text, sizeof(text), "%ld\n", (long)s_count);
  if (file >= 0) {
    if (write(file, text, (size_t)length) != length) {
      _exit(125);
    }
    close(file);
  }
}
