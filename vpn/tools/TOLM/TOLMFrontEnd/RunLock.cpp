#include "vpn/tools/TOLM/TOLMFrontEnd/RunLock.h"

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestContent = 8192;
constexpr mode_t kOwnFolder = 0700;
constexpr mode_t kOwnFile = 0600;

// Whether the open folder is the user's alone to write to.
bool isOwnFolder(int folder) {
  struct stat data;
  return fstat(folder, &data) == 0 && S_ISDIR(data.st_mode) && data.st_uid == geteuid() &&
         (data.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Opens `path` if it is a folder of the user's own.
DescriptorHolder openOwnFolder(const std::string& path) {
  if (path.empty() || path.front() != '/') {
    return DescriptorHolder();
  }
  DescriptorHolder folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder && !isOwnFolder(folder.get())) {
    folder.reset();
  }
  return folder;
}

// Opens a folder inside of a folder of the user's own, making it where it is missing.
DescriptorHolder enterOwnFolder(const DescriptorHolder& parent, const char* name) {
  if (!parent || (mkdirat(parent.get(), name, kOwnFolder) != 0 && errno != EEXIST)) {
    return DescriptorHolder();
  }
  DescriptorHolder folder(openat(parent.get(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (folder && !isOwnFolder(folder.get())) {
    folder.reset();
  }
  return folder;
}

DescriptorHolder openLockFile(const DescriptorHolder& folder, const std::string& name) {
  if (!folder) {
    return DescriptorHolder();
  }
  // A pipe of that name isn't waited for, and a link isn't followed.
  DescriptorHolder file(
      openat(folder.get(), name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, kOwnFile));
  struct stat data;
  if (file && (fstat(file.get(), &data) != 0 || !S_ISREG(data.st_mode) || data.st_uid != geteuid())) {
    file.reset();
  }
  return file;
}

DescriptorHolder openBelowHome(const std::string& home) {
  return enterOwnFolder(enterOwnFolder(openOwnFolder(home), ".cache"), "tolm");
}

std::string environmentValue(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string homeOfUser() {
  passwd entry = {};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  return getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr
             ? found->pw_dir
             : "";
}

// The first folder of the user's own in which the file can be had, and the file. A run outside of a session
// (a timer's, say) knows no runtime folder and still has to meet the session's runs, so the folder's usual
// place is tried without the variable too. /run is root's own on every machine, and nobody else's by its
// owner.
bool openFirst(DescriptorHolder& folder, std::string& name, DescriptorHolder& file) {
  using Opener = DescriptorHolder (*)();
  struct Place {
    Opener open;
    const char* name;
  };
  static constexpr Place kPlaces[] = {
      {[] { return openOwnFolder(environmentValue("XDG_RUNTIME_DIR")); }, "tolm.lock"},
      {[] { return openOwnFolder("/run/user/" + std::to_string(geteuid())); }, "tolm.lock"},
      {[] { return openOwnFolder("/run"); }, "tolm.lock"},
      {[] { return openBelowHome(environmentValue("HOME")); }, "run.lock"},
      {[] { return openBelowHome(homeOfUser()); }, "run.lock"},
  };
  for (const Place& place : kPlaces) {
    folder = place.open();
    name = place.name;
    file = openLockFile(folder, name);
    if (file) {
      return true;
    }
  }
  return false;
}

// Whether the open file is the one of that name.
bool isNamed(int folder, const std::string& name, int file) {
  struct stat open;
  struct stat named;
  return fstat(file, &open) == 0 && fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

int lockFile(int file, int operation) {
  int answer = -1;
  do {
    answer = flock(file, operation);
  } while (answer != 0 && errno == EINTR);
  return answer;
}

// A limit on the size of files ends the program at a write, before a run has taken its precautions: for as
// long as this lives the write fails instead. The lock holds without its content.
class SizeSignalHeld {
 public:
  SizeSignalHeld() {
    sigemptyset(&m_signal);
    sigaddset(&m_signal, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &m_signal, &m_old);
  }
  ~SizeSignalHeld() {
    sigset_t pending;
    int taken = 0;
    if (sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 1) {
      sigwait(&m_signal, &taken);
    }
    pthread_sigmask(SIG_SETMASK, &m_old, nullptr);
  }
  SizeSignalHeld(const SizeSignalHeld&) = delete;
  SizeSignalHeld& operator=(const SizeSignalHeld&) = delete;

 private:
  sigset_t m_signal;
  sigset_t m_old;
};

}  // namespace

RunLock::~RunLock() {
  if (m_bHeld) {
    // While the lock is held: whoever waits for this file finds it gone, and makes another.
    unlinkat(m_Folder.get(), m_strName.c_str(), 0);
  }
}

bool RunLock::open() {
  if (!m_File && !openFirst(m_Folder, m_strName, m_File)) {
    LOG_MESSAGE(kLogWarning, "No folder of the user's own can hold the lock of a run; going on without one");
    return false;
  }
  return true;
}

RunLock::Answer RunLock::take(int operation) {
  for (;;) {
    if (!open()) {
      return Answer::kUnavailable;
    }
    if (lockFile(m_File.get(), operation) != 0) {
      // Only here is the content another's, who is to be named.
      if (errno == EWOULDBLOCK) {
        readContent();
        return Answer::kBusy;
      }
      LOG_RETURN_CODE_DESCRIBED(kLogWarning, "flock", errno, std::strerror(errno));
      return Answer::kUnavailable;
    }
    if (isNamed(m_Folder.get(), m_strName, m_File.get())) {
      break;
    }
    // The run that held it has removed it meanwhile: a lock on a file without a name keeps nobody out.
    m_File.reset();
  }
  // Read ahead of being written: what the last holder left behind is named there.
  m_bHeld = true;
  readContent();
  m_nHolder = 0;
  writeContent("");
  return Answer::kHeld;
}

RunLock::Answer RunLock::tryAcquire() {
  return take(LOCK_EX | LOCK_NB);
}

RunLock::Answer RunLock::acquire() {
  return take(LOCK_EX);
}

void RunLock::noteBundle(const std::string& path) {
  if (m_bHeld) {
    writeContent(path);
  }
}

void RunLock::readContent() {
  m_nHolder = 0;
  m_strUnfinished.clear();
  std::string content(kLongestContent, '\0');
  const ssize_t got = pread(m_File.get(), content.data(), content.size(), 0);
  content.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  const std::size_t end = content.find('\n');
  if (end == std::string::npos) {
    return;
  }
  m_nHolder = static_cast<pid_t>(std::strtol(content.c_str(), nullptr, 10));
  // The path ends in a zero byte, which no path holds.
  if (content.size() > end + 1 && content.back() == '\0') {
    m_strUnfinished = content.substr(end + 1, content.size() - end - 2);
  }
}

void RunLock::writeContent(const std::string& bundle) {
  std::string content = std::to_string(getpid()) + "\n";
  if (!bundle.empty()) {
    content += bundle + '\0';
  }
  const SizeSignalHeld held;
  // In one write, and cut behind it: whoever is busy-waiting reads it meanwhile.
  const ssize_t put = pwrite(m_File.get(), content.data(), content.size(), 0);
  if (put != static_cast<ssize_t>(content.size()) || ftruncate(m_File.get(), put) != 0) {
    LOG_RETURN_CODE_DESCRIBED(kLogWarning, "pwrite", errno, std::strerror(errno));
  }
}

}  // namespace halvo
