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

// Those that were found, with their start, for as long as they are being ended: one whose parent ends first
// goes to the first process of this host, and would be lost from sight.
struct FoundProcess {
  pid_t pid;
  timeval started;
};
FoundProcess s_found[kMostProcesses];
std::size_t s_foundCount = 0;

std::uint64_t hundredthsOf(const timeval& moment) {
  return static_cast<std::uint64_t>(moment.tv_sec) * 100U +
         static_cast<std::uint64_t>(moment.tv_usec) / 10'000U;
}

bool isFound(const kinfo_proc& process) {
  const timeval started = process.kp_proc.p_un.__p_starttime;
  for (std::size_t i = 0; i < s_foundCount; ++i) {
    // The id alone may be another's by now.
    if (s_found[i].pid == process.kp_proc.p_pid && s_found[i].started.tv_sec == started.tv_sec &&
        s_found[i].started.tv_usec == started.tv_usec) {
      return true;
    }
  }
  return false;
}

// Whether a process is below this one, or has been, or is below one that has been.
bool isBelow(const kinfo_proc& process, pid_t self, std::size_t count) {
  const kinfo_proc* current = &process;
  for (int depth = 0; depth < kDeepest && current != nullptr; ++depth) {
    const pid_t parent = current->kp_eproc.e_ppid;
    if (parent == self || isFound(*current)) {
      return true;
    }
    current = nullptr;
    for (std::size_t i = 0; i < count && parent > 1; ++i) {
      if (s_table[i].kp_proc.p_pid == parent) {
        current = &s_table[i];
      }
    }
  }
  return false;
}

int signalDescendants(std::uint64_t since, int signal) {
  const std::size_t count = readTable();
  const pid_t self = getpid();
  int living = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const kinfo_proc& process = s_table[i];
    const timeval started = process.kp_proc.p_un.__p_starttime;
    if (process.kp_proc.p_pid <= 1 || process.kp_proc.p_pid == self || process.kp_proc.p_stat == SZOMB ||
        hundredthsOf(started) < since || !isBelow(process, self, count)) {
      continue;
    }
    ++living;
    if (!isFound(process) && s_foundCount < kMostProcesses) {
      s_found[s_foundCount++] = {process.kp_proc.p_pid, started};
    }
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
  return hundredthsOf(now);
}

int endDescendants(std::uint64_t since, unsigned graceMs) {
  s_foundCount = 0;
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
  s_foundCount = 0;
  return signalDescendants(since, 0);
}

}  // namespace halvo
