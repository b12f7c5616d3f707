#include <signal.h>
#include <sys/sysctl.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "vpn/tools/TOLM/TOLMFrontEnd/Descendants.h"

namespace halvo {

namespace {

constexpr unsigned kLastWaitMs = 2000;
constexpr unsigned kPollMs = 10;
constexpr std::size_t kMostProcesses = 4096;
constexpr int kDeepest = 64;

// One table for the process: the stack is too small for it, and the allocator may not be asked.
kinfo_proc s_table[kMostProcesses];

std::size_t readTable() {
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL};
  std::size_t bytes = sizeof(s_table);
  return sysctl(name, 3, s_table, &bytes, nullptr, 0) == 0 ? bytes / sizeof(kinfo_proc) : 0;
}

std::uint64_t startOf(const kinfo_proc& process) {
  const timeval started = process.kp_proc.p_un.__p_starttime;
  return static_cast<std::uint64_t>(started.tv_sec) * 100U +
         static_cast<std::uint64_t>(started.tv_usec) / 10'000U;
}

bool isBelow(pid_t parent, pid_t self, std::size_t count) {
  for (int depth = 0; depth < kDeepest && parent > 1; ++depth) {
    if (parent == self) {
      return true;
    }
    pid_t next = 0;
    for (std::size_t i = 0; i < count; ++i) {
      if (s_table[i].kp_proc.p_pid == parent) {
        next = s_table[i].kp_eproc.e_ppid;
      }
    }
    parent = next;
  }
  return false;
}

int signalDescendants(std::uint64_t since, int signal) {
  const std::size_t count = readTable();
  const pid_t self = getpid();
  int living = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const kinfo_proc& process = s_table[i];
    if (process.kp_proc.p_pid <= 1 || process.kp_proc.p_pid == self || process.kp_proc.p_stat == SZOMB ||
        startOf(process) < since || !isBelow(process.kp_eproc.e_ppid, self, count)) {
      continue;
    }
    ++living;
    if (signal != 0) {
      kill(process.kp_proc.p_pid, signal);
      // One that is stopped ends only when it goes on.
      kill(process.kp_proc.p_pid, SIGCONT);
    }
  }
  return living;
}

}  // namespace

bool adoptOrphans() {
  // This host hands orphans to its first process and nobody else.
  return false;
}

std::uint64_t processClock() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return static_cast<std::uint64_t>(now.tv_sec) * 100U + static_cast<std::uint64_t>(now.tv_usec) / 10'000U;
}

int endDescendants(std::uint64_t since, unsigned graceMs) {
  if (signalDescendants(since, SIGTERM) == 0) {
    return 0;
  }
  for (unsigned waited = 0; waited < graceMs; waited += kPollMs) {
    usleep(kPollMs * 1000);
    if (signalDescendants(since, 0) == 0) {
      return 0;
    }
  }
  // Again and again: one may have started another meanwhile.
  for (unsigned waited = 0; waited < kLastWaitMs && signalDescendants(since, SIGKILL) > 0;
       waited += kPollMs) {
    usleep(kPollMs * 1000);
  }
  return signalDescendants(since, 0);
}

int countDescendants(std::uint64_t since) {
  return signalDescendants(since, 0);
}

}  // namespace halvo
