// kqueue over inotify and sysctl over /proc, as far as this system uses them.

#include <dirent.h>
#include <poll.h>
#include <sys/event.h>
#include <sys/inotify.h>
#include <sys/sysctl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/macos/platform/Control.h"

namespace {

using halvo::test::platform::fails;

std::mutex s_lock;
std::map<std::pair<int, int>, std::uintptr_t> s_idents;  // by queue and watch

int registerChange(int queue, const struct kevent& change) {
  if (change.filter != EVFILT_VNODE || change.flags != (EV_ADD | EV_ONESHOT) || change.fflags != NOTE_WRITE) {
    errno = ENOTSUP;
    return -1;
  }
  const std::string path = "/proc/self/fd/" + std::to_string(change.ident);
  const int watch = inotify_add_watch(queue, path.c_str(), IN_MODIFY | IN_ONESHOT);
  if (watch < 0) {
    // A descriptor that isn't open has no name there.
    errno = errno == ENOENT ? EBADF : errno;
    return -1;
  }
  const std::lock_guard<std::mutex> guard(s_lock);
  s_idents[{queue, watch}] = change.ident;
  return 0;
}

// When a process started: the clock of the day. The table of this host counts from the machine's start, in
// hundredths; the running one counts whole, as a process never started before it was asked for.
timeval startTime(long long hundredths) {
  // Once: the kernel tells the same start of a process at each question.
  static const long long s_offset = [] {
    // The most of several: what comes between the two looks on a busy machine makes it less.
    constexpr int kLooks = 20;
    long long most = 0;
    for (int look = 0; look < kLooks; ++look) {
      timespec day;
      timespec machine;
      clock_gettime(CLOCK_REALTIME, &day);
      clock_gettime(CLOCK_BOOTTIME, &machine);
      most = std::max(most,
                      (day.tv_sec - machine.tv_sec) * 1'000'000LL + (day.tv_nsec - machine.tv_nsec) / 1000);
    }
    return most;
  }();
  const long long micros = s_offset + (hundredths + 1) * 10'000LL;
  return {static_cast<time_t>(micros / 1'000'000), static_cast<suseconds_t>(micros % 1'000'000)};
}

// The folder itself belongs to the user whose rights the process has, which may be another.
uid_t realUser(const std::string& folder) {
  std::ifstream stream(folder + "/status");
  uid_t user = static_cast<uid_t>(-1);
  for (std::string word; stream >> word;) {
    if (word == "Uid:") {
      stream >> user;
      break;
    }
  }
  return user;
}

// One process as the kernel of macOS tells it: SIDL is 1, SRUN 2, SSLEEP 3, SSTOP 4, SZOMB 5.
bool fill(pid_t pid, kinfo_proc& record) {
  std::memset(&record, 0, sizeof(record));
  const std::string folder = "/proc/" + std::to_string(pid);
  std::ifstream stream(folder + "/stat");
  std::string line;
  if (!std::getline(stream, line)) {
    return false;
  }
  const std::size_t open = line.find('(');
  const std::size_t close = line.rfind(')');
  const std::string command = line.substr(open + 1, close - open - 1).substr(0, 16);
  record.kp_proc.p_pid = pid;
  switch (line[close + 2]) {
    case 'R':
      record.kp_proc.p_stat = 2;
      break;
    case 'T':
    case 't':
      record.kp_proc.p_stat = 4;
      break;
    case 'Z':
    case 'X':
      record.kp_proc.p_stat = 5;
      break;
    default:
      record.kp_proc.p_stat = 3;
      break;
  }
  std::memcpy(record.kp_proc.p_comm, command.c_str(), command.size());
  record.kp_eproc.e_pcred.p_ruid = realUser(folder);
  // Behind the name stand the state, the parent, and eighteenth behind that the start.
  std::istringstream fields(line.substr(close + 2));
  std::string field;
  for (int number = 0; number <= 19 && fields >> field; ++number) {
    if (number == 1) {
      record.kp_eproc.e_ppid = std::atoi(field.c_str());
    } else if (number == 19) {
      record.kp_proc.p_un.__p_starttime = startTime(std::atoll(field.c_str()));
    }
  }
  return true;
}

std::vector<kinfo_proc> allProcesses() {
  std::vector<kinfo_proc> records;
  DIR* folder = opendir("/proc");
  if (folder == nullptr) {
    return records;
  }
  while (const dirent* entry = readdir(folder)) {
    kinfo_proc record;
    const pid_t pid = std::atoi(entry->d_name);
    if (pid > 0 && fill(pid, record)) {
      records.push_back(record);
    }
  }
  closedir(folder);
  return records;
}

}  // namespace

extern "C" int kqueue(void) {
  if (fails("kqueue")) {
    errno = EMFILE;
    return -1;
  }
  return inotify_init1(IN_CLOEXEC);
}

extern "C" int kevent(int queue, const struct kevent* changes, int changeCount, struct kevent* events,
                      int eventCount, const struct timespec* timeout) {
  if (fails("kevent")) {
    errno = ENOTSUP;
    return -1;
  }
  for (int i = 0; i < changeCount; ++i) {
    if (registerChange(queue, changes[i]) != 0) {
      return -1;
    }
  }
  if (eventCount == 0) {
    return 0;
  }
  pollfd waiting = {queue, POLLIN, 0};
  const int limit =
      timeout == nullptr ? -1 : static_cast<int>(timeout->tv_sec * 1000 + timeout->tv_nsec / 1000000);
  const int ready = poll(&waiting, 1, limit);
  if (ready <= 0) {
    return ready;
  }
  alignas(inotify_event) char buffer[4096];
  if (read(queue, buffer, sizeof(buffer)) < static_cast<ssize_t>(sizeof(inotify_event))) {
    return -1;
  }
  const inotify_event* event = reinterpret_cast<const inotify_event*>(buffer);
  if ((event->mask & IN_MODIFY) == 0) {
    return 0;
  }
  const std::lock_guard<std::mutex> guard(s_lock);
  EV_SET(events, (s_idents[{queue, event->wd}]), EVFILT_VNODE, EV_ONESHOT, NOTE_WRITE, 0, nullptr);
  return 1;
}

extern "C" int sysctl(int* name, unsigned int length, void* old, size_t* oldLength, void* fresh,
                      size_t freshLength) {
  if (length < 3 || name[0] != CTL_KERN || name[1] != KERN_PROC || fresh != nullptr || freshLength != 0) {
    std::abort();
  }
  if (fails("sysctl")) {
    errno = EPERM;
    return -1;
  }
  std::vector<kinfo_proc> records;
  if (length == 4 && name[2] == KERN_PROC_PID) {
    kinfo_proc record;
    if (fill(name[3], record)) {
      records.push_back(record);
    }
  } else if (length == 3 && name[2] == KERN_PROC_ALL) {
    records = allProcesses();
    // There is always one, this.
    if (records.empty()) {
      return -1;
    }
  } else {
    std::abort();
  }
  const std::size_t bytes = records.size() * sizeof(kinfo_proc);
  if (old == nullptr) {
    // Room for those that start between the two calls.
    *oldLength = bytes + 10 * sizeof(kinfo_proc);
    return 0;
  }
  // "room of" is as if a process had started since the size was asked for.
  if (*oldLength < bytes || fails("room of sysctl")) {
    errno = ENOMEM;
    return -1;
  }
  std::memcpy(old, records.data(), bytes);
  *oldLength = bytes;
  return 0;
}

extern "C" const char* getprogname(void) {
  return program_invocation_short_name;
}

extern "C" int memset_s(void* block, size_t size, int value, size_t count) {
  if (count > size || value != 0) {
    std::abort();
  }
  explicit_bzero(block, count);
  return 0;
}

extern "C" int renameatx_np(int oldFolder, const char* oldName, int newFolder, const char* newName,
                            unsigned int flags) {
  if (flags != RENAME_EXCL) {
    std::abort();
  }
  return renameat2(oldFolder, oldName, newFolder, newName, RENAME_NOREPLACE);
}
