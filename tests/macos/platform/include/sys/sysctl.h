// The test platform's process table: the fields of its records that this system reads, in a record of the
// same size. See Kernel.cpp.

#pragma once

#include <stddef.h>
#include <sys/time.h>
#include <sys/types.h>

#define CTL_KERN 1
#define KERN_PROC 14
#define KERN_PROC_ALL 0
#define KERN_PROC_PID 1

#define SZOMB 5

struct kinfo_proc {
  struct {
    union {
      struct timeval __p_starttime;
    } p_un;
    pid_t p_pid;
    char p_stat;
    char p_comm[17];
  } kp_proc;
  struct {
    struct {
      uid_t p_ruid;
    } e_pcred;
    pid_t e_ppid;
    char padding[600];
  } kp_eproc;
};
static_assert(sizeof(kinfo_proc) == 648);

extern "C" int sysctl(int* name, unsigned int length, void* old, size_t* oldLength, void* fresh,
                      size_t freshLength);
