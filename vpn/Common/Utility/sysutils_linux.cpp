// The process table over proc(5).

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

// Room for processes that start between the two looks at the table.
constexpr std::size_t kSpareRecords = 16;

// The process id that a name in /proc stands for; 0 for the other names.
pid_t processIdOf(const char* name) {
  pid_t pid = 0;
  const char* end = name + std::strlen(name);
  const auto [stop, error] = std::from_chars(name, end, pid);
  return error == std::errc() && stop == end && pid > 0 ? pid : 0;
}

// Calls `visit` for each process id until it gives another result than 0, which is then the result.
template <class Visitor>
int forEachProcess(Visitor visit) {
  const FolderHolder folder(opendir("/proc"));
  if (folder == nullptr) {
    return errno;
  }
  for (;;) {
    errno = 0;  // a null answer says both "no more" and "no"
    const dirent* entry = readdir(folder.get());
    if (entry == nullptr) {
      return errno;
    }
    const pid_t pid = processIdOf(entry->d_name);
    if (pid != 0) {
      if (const int result = visit(pid); result != 0) {
        return result;
      }
    }
  }
}

int readWholeFile(const std::string& path, std::string& content) {
  const DescriptorHolder descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!descriptor) {
    return errno;
  }
  char buffer[4096];
  for (;;) {
    const ssize_t got = read(descriptor.get(), buffer, sizeof(buffer));
    if (got > 0) {
      content.append(buffer, static_cast<std::size_t>(got));
    } else if (got == 0 || errno != EINTR) {
      return got == 0 ? 0 : errno;
    }
  }
}

// What stands behind "LABEL:" and its white space, up to the line's end; empty where there is none.
std::string_view statusField(std::string_view status, std::string_view label) {
  std::size_t start = 0;
  while (start < status.size()) {
    const std::size_t end = std::min(status.find('\n', start), status.size());
    const std::string_view line = status.substr(start, end - start);
    if (line.size() > label.size() && line.substr(0, label.size()) == label && line[label.size()] == ':') {
      // One tab: a command name may begin with white space of its own.
      const std::string_view value = line.substr(label.size() + 1);
      return !value.empty() && value.front() == '\t' ? value.substr(1) : value;
    }
    start = end + 1;
  }
  return {};
}

template <class Number>
bool leadingNumber(std::string_view text, Number& number) {
  return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

// The kernel writes a line feed in a command name as "\n" and a backslash as two.
void copyCommand(std::string_view name, char (&command)[17]) {
  std::size_t length = 0;
  for (std::size_t i = 0; i < name.size() && length < sizeof(command) - 1; ++i) {
    char character = name[i];
    if (character == '\\' && i + 1 < name.size()) {
      ++i;
      character = name[i] == 'n' ? '\n' : name[i];
    }
    command[length] = character;
    ++length;
  }
  command[length] = '\0';
}

// The state letters are those of proc_pid_status(5).
std::uint32_t stateOf(char letter) {
  switch (letter) {
    case 'R':
      return kProcessRunning;
    case 'T':
    case 't':
      return kProcessStopped;
    case 'Z':
    case 'X':
    case 'x':
      return kProcessZombie;
    default:
      // S, D, and the kernel's own threads in their kinds of waiting.
      return kProcessSleeping;
  }
}

class ProcFolderTable : public ProcessTable {
 public:
  int size(std::size_t& bytes) override {
    std::size_t records = kSpareRecords;
    const int result = forEachProcess([&records](pid_t) {
      ++records;
      return 0;
    });
    bytes = records * sizeof(BSDProcess);
    return result;
  }

  int read(BSDProcess* records, std::size_t& bytes) override {
    const std::size_t room = bytes / sizeof(BSDProcess);
    std::size_t used = 0;
    bool outgrown = false;
    const int result = forEachProcess([&](pid_t pid) {
      BSDProcess process = {};
      const int failure = readProcess(pid, process);
      // Ended since the folder was read, or hidden from this user by a mount option.
      if (failure == ESRCH || failure == EACCES || failure == EPERM) {
        return 0;
      }
      if (failure != 0) {
        return failure;
      }
      if (used == room) {
        outgrown = true;
        return ENOMEM;
      }
      records[used] = process;
      ++used;
      return 0;
    });
    bytes = used * sizeof(BSDProcess);
    // To the caller ENOMEM is a table that has grown, which it asks for anew without end. A host that has no
    // memory for /proc answers the same, and would be asked for ever.
    return result == ENOMEM && !outgrown ? EAGAIN : result;
  }
};

}  // namespace

ProcessTable& hostProcessTable() {
  static ProcFolderTable s_table;
  return s_table;
}

int readProcess(pid_t pid, BSDProcess& process) {
  process = {};
  if (pid <= 0) {
    return ESRCH;
  }
  std::string status;
  if (const int failure = readWholeFile("/proc/" + std::to_string(pid) + "/status", status); failure != 0) {
    return failure == ENOENT ? ESRCH : failure;
  }
  pid_t group = 0;
  uid_t realUser = 0;
  const std::string_view state = statusField(status, "State");
  if (!leadingNumber(statusField(status, "Tgid"), group) ||
      !leadingNumber(statusField(status, "Uid"), realUser) || state.empty()) {
    return ESRCH;
  }
  // The folder also answers to the id of a thread, which is no process.
  if (group != pid) {
    return ESRCH;
  }
  process.pid = pid;
  process.realUserId = realUser;
  process.state = stateOf(state.front());
  copyCommand(statusField(status, "Name"), process.command);
  // A process whose first thread has ended shows as a zombie while its other threads go on.
  unsigned threads = 0;
  if (process.state == kProcessZombie && leadingNumber(statusField(status, "Threads"), threads) &&
      threads > 1) {
    process.state = kProcessSleeping;
  }
  return 0;
}

}  // namespace halvo
