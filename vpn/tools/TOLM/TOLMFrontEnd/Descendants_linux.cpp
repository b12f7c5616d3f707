#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "vpn/tools/TOLM/TOLMFrontEnd/Descendants.h"

namespace halvo {

namespace {

constexpr int kDeepest = 4096;  // of a chain of parents; numbers may be reused while it is walked
constexpr unsigned kLastWaitMs = 2000;
constexpr unsigned kPollMs = 10;

struct RawEntry {
  std::uint64_t inode;
  std::int64_t offset;
  std::uint16_t length;
  std::uint8_t type;
  char name[1];
};

struct ProcessFacts {
  char state = 'X';
  pid_t parent = 0;
  std::uint64_t started = 0;
};

std::uint64_t number(const char*& at) {
  std::uint64_t value = 0;
  while (*at >= '0' && *at <= '9') {
    value = 10 * value + static_cast<std::uint64_t>(*at++ - '0');
  }
  return value;
}

// "/proc/<process>/stat", without the C library's formatting.
void statPathOf(pid_t process, char (&path)[32]) {
  char digits[12];
  int count = 0;
  for (pid_t rest = process; rest > 0; rest /= 10) {
    digits[count++] = static_cast<char>('0' + rest % 10);
  }
  std::size_t at = 0;
  std::memcpy(path, "/proc/", 6);
  at = 6;
  while (count > 0) {
    path[at++] = digits[--count];
  }
  std::memcpy(path + at, "/stat", 6);
}

bool readFacts(pid_t process, ProcessFacts& facts) {
  char path[32];
  statPathOf(process, path);
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return false;
  }
  char text[1024];
  const ssize_t got = read(file, text, sizeof(text) - 1);
  close(file);
  if (got <= 0) {
    return false;
  }
  text[got] = '\0';
  // The name stands in brackets and may hold brackets itself: the last one counts.
  const char* at = std::strrchr(text, ')');
  if (at == nullptr || at[1] == '\0') {
    return false;
  }
  at += 2;
  facts.state = *at++;
  // The state is the third field, the parent the fourth, the start the twenty-second.
  for (int field = 3; field < 22 && *at != '\0'; ++field) {
    at += *at == ' ' ? 1 : 0;
    if (field == 3) {
      facts.parent = static_cast<pid_t>(number(at));
      continue;
    }
    if (field == 21) {
      facts.started = number(at);
      return true;
    }
    while (*at != ' ' && *at != '\0') {
      ++at;
    }
  }
  return false;
}

bool isBelow(pid_t parent, pid_t self) {
  for (int depth = 0; depth < kDeepest && parent > 1; ++depth) {
    if (parent == self) {
      return true;
    }
    ProcessFacts facts;
    if (!readFacts(parent, facts)) {
      return false;
    }
    parent = facts.parent;
  }
  return parent == self;
}

// Sends `signal` (0 for none) to the living ones. Returns how many there are.
int signalDescendants(std::uint64_t since, int signal) {
  const int folder = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) {
    return 0;
  }
  const pid_t self = getpid();
  // By the system call: the C library's listing asks for memory, which a stopped thread may hold the lock of.
  int count = 0;
  alignas(RawEntry) char block[4096];
  long got = 0;
  while ((got = syscall(SYS_getdents64, folder, block, sizeof(block))) > 0) {
    for (long at = 0; at < got;) {
      const auto* const entry = reinterpret_cast<const RawEntry*>(block + at);
      at += entry->length;
      const char* name = reinterpret_cast<const char*>(entry) + offsetof(RawEntry, name);
      const auto process = static_cast<pid_t>(number(name));
      ProcessFacts facts;
      // A child from before the run isn't the run's: it may be that of a shell whose place this program took.
      if (process <= 1 || *name != '\0' || process == self || !readFacts(process, facts) ||
          facts.state == 'Z' || facts.state == 'X' || facts.started < since || !isBelow(facts.parent, self)) {
        continue;
      }
      ++count;
      if (signal != 0) {
        kill(process, signal);
        // One that is stopped ends only when it goes on.
        kill(process, SIGCONT);
      }
    }
  }
  close(folder);
  return count;
}

void sleepMs(unsigned milliseconds) {
  timespec rest = {static_cast<time_t>(milliseconds / 1000),
                   static_cast<long>(milliseconds % 1000) * 1'000'000L};
  nanosleep(&rest, nullptr);
}

}  // namespace

// A command's own children become this process's when the command ends, and so stay to be found.
bool adoptOrphans() {
  return prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0;
}

void leaveOrphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
}

std::uint64_t processClock() {
  timespec now = {};
  clock_gettime(CLOCK_BOOTTIME, &now);
  const auto ticks = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
  return static_cast<std::uint64_t>(now.tv_sec) * ticks +
         static_cast<std::uint64_t>(now.tv_nsec) * ticks / 1'000'000'000ULL;
}

int endDescendants(std::uint64_t since, unsigned graceMs) {
  if (signalDescendants(since, SIGTERM) == 0) {
    return 0;
  }
  for (unsigned waited = 0; waited < graceMs; waited += kPollMs) {
    sleepMs(kPollMs);
    if (signalDescendants(since, 0) == 0) {
      return 0;
    }
  }
  // Again and again: one may have started another meanwhile.
  for (unsigned waited = 0; waited < kLastWaitMs && signalDescendants(since, SIGKILL) > 0;
       waited += kPollMs) {
    sleepMs(kPollMs);
  }
  return signalDescendants(since, 0);
}

int countDescendants(std::uint64_t since) {
  return signalDescendants(since, 0);
}

}  // namespace halvo
