#include "vpn/tools/TOLM/TOLMFrontEnd/LeftOvers.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/FolderRemoval.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

// A bundle's hidden name: a dot, the name, and this behind eight digits.
constexpr char kUnfinished[] = ".tolm-part";
constexpr std::size_t kMarkDigits = 8;
constexpr std::size_t kLongestName = 255;

// What the names of folders begin with that a run or a trial keeps while it lasts: work folders that have a
// suffix, keys, documents. The plain work folder is a run's own affair, which begins with its removal.
std::array<std::string, 3> folderStarts() {
  const std::string path = helperUtil::kWorkFolder;
  return {path.substr(path.rfind('/') + 1) + "_", "TOLM_Keys_", "tmtolm-try-"};
}

// A folder of the file system, held by its descriptor.
class OpenFolder {
 public:
  explicit OpenFolder(const std::string& path)
      : m_nFolder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}
  ~OpenFolder() {
    if (m_nFolder >= 0) {
      close(m_nFolder);
    }
  }
  OpenFolder(const OpenFolder&) = delete;
  OpenFolder& operator=(const OpenFolder&) = delete;
  [[nodiscard]] int get() const { return m_nFolder; }

  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> names;
    // Of its own: reading moves a descriptor, and the stream takes this one over.
    DescriptorHolder copy(m_nFolder >= 0 ? openat(m_nFolder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1);
    const FolderHolder stream(copy ? fdopendir(copy.get()) : nullptr);
    if (stream == nullptr) {
      return names;
    }
    static_cast<void>(copy.release());
    while (const dirent* const entry = readdir(stream.get())) {
      names.emplace_back(entry->d_name);
    }
    return names;
  }

 private:
  int m_nFolder;
};

// A folder of this user's that a command has closed to everybody.
bool isClosedFolder(int folder, const std::string& name) {
  struct stat data;
  return fstatat(folder, name.c_str(), &data, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(data.st_mode) &&
         data.st_uid == geteuid() && (data.st_mode & S_IRUSR) == 0;
}

// Opens an entry that is this user's, of the wanted kind and locked by nobody, and locks it; -1 otherwise.
int openAbandoned(int folder, const std::string& name, mode_t kind) {
  // O_NONBLOCK: a pipe of that name must not be waited for.
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
  int entry = openat(folder, name.c_str(), kFlags);
  if (entry < 0 && errno == EACCES && kind == S_IFDIR && isClosedFolder(folder, name) &&
      fchmodat(folder, name.c_str(), S_IRWXU, AT_SYMLINK_NOFOLLOW) == 0) {
    entry = openat(folder, name.c_str(), kFlags);
  }
  if (entry < 0) {
    return -1;
  }
  struct stat data;
  if (fstat(entry, &data) != 0 || (data.st_mode & S_IFMT) != kind || data.st_uid != geteuid() ||
      flock(entry, LOCK_EX | LOCK_NB) != 0) {
    close(entry);
    return -1;
  }
  return entry;
}

void removeUnfinishedIn(const OpenFolder& folder, const std::string& name) {
  const int file = openAbandoned(folder.get(), name, S_IFREG);
  if (file < 0) {
    return;
  }
  if (unlinkat(folder.get(), name.c_str(), 0) == 0) {
    LOG_MESSAGE(kLogInformation, "Removed the half-written bundle %s of an earlier run", name.c_str());
  } else {
    LOG_MESSAGE(kLogWarning, "The half-written bundle %s of an earlier run can't be removed", name.c_str());
  }
  close(file);
}

// False where somebody else has it, or where it can't be removed.
bool removeAbandoned(const OpenFolder& folder, const std::string& name) {
  const int leftOver = openAbandoned(folder.get(), name, S_IFDIR);
  if (leftOver < 0) {
    return false;
  }
  const bool removed = removeFolder(folder.get(), name.c_str());
  if (removed) {
    LOG_MESSAGE(kLogInformation, "Removed the folder %s of an earlier run", name.c_str());
  } else {
    LOG_MESSAGE(kLogWarning, "The folder %s of an earlier run can't be removed", name.c_str());
  }
  // Locked until it is gone: no run takes it up meanwhile.
  close(leftOver);
  return removed;
}

}  // namespace

void removeLeftOverFolders(const std::string& parent) {
  const OpenFolder folder(parent);
  const std::array<std::string, 3> starts = folderStarts();
  for (const std::string& name : folder.names()) {
    if (std::any_of(starts.begin(), starts.end(),
                    [&name](const std::string& start) { return name.starts_with(start); })) {
      static_cast<void>(removeAbandoned(folder, name));
    }
  }
}

bool removeLeftOverFolder(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash != std::string::npos &&
         removeAbandoned(OpenFolder(path.substr(0, slash + 1)), path.substr(slash + 1));
}

void removeUnfinishedBundle(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  // The path comes from a file of an earlier run: nothing is removed on its word but what has such a name.
  if (slash == std::string::npos || !isUnfinishedName(path.substr(slash + 1))) {
    return;
  }
  removeUnfinishedIn(OpenFolder(path.substr(0, slash + 1)), path.substr(slash + 1));
}

void removeUnfinishedBundles(const std::string& path) {
  const OpenFolder folder(path);
  for (const std::string& name : folder.names()) {
    if (isUnfinishedName(name)) {
      removeUnfinishedIn(folder, name);
    }
  }
}

std::string unfinishedName(const std::string& name, unsigned mark) {
  char digits[kMarkDigits + 1];
  std::snprintf(digits, sizeof(digits), "%08x", mark);
  // A longer name would be refused by the file system, though the bundle's own is allowed.
  const std::size_t room = kLongestName - 2 - kMarkDigits - (sizeof(kUnfinished) - 1);
  return "." + name.substr(0, room) + "." + digits + kUnfinished;
}

bool isUnfinishedName(const std::string& name) {
  const std::string end = kUnfinished;
  if (name.size() < 2 + kMarkDigits + end.size() || name.front() != '.' ||
      name.compare(name.size() - end.size(), end.size(), end) != 0) {
    return false;
  }
  const std::size_t digits = name.size() - end.size() - kMarkDigits;
  return name[digits - 1] == '.' &&
         name.find_first_not_of("0123456789abcdef", digits) == digits + kMarkDigits;
}

}  // namespace halvo
