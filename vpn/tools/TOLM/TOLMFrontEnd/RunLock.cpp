#include "vpn/tools/TOLM/TOLMFrontEnd/RunLock.h"

#include <fcntl.h>
#include <pwd.h>
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

// Opens `path` if it is a folder of the user's own; -1 otherwise.
int openOwnFolder(const std::string& path) {
  if (path.empty() || path.front() != '/') {
    return -1;
  }
  const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder >= 0 && !isOwnFolder(folder)) {
    close(folder);
    return -1;
  }
  return folder;
}

// Opens a folder inside of a folder of the user's own, making it where it is missing. Takes `parent` over.
int enterOwnFolder(int parent, const char* name) {
  if (parent < 0) {
    return -1;
  }
  if (mkdirat(parent, name, kOwnFolder) != 0 && errno != EEXIST) {
    close(parent);
    return -1;
  }
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  close(parent);
  if (folder >= 0 && !isOwnFolder(folder)) {
    close(folder);
    return -1;
  }
  return folder;
}

int openLockFile(int folder, const char* name) {
  if (folder < 0) {
    return -1;
  }
  const int file = openat(folder, name, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, kOwnFile);
  close(folder);
  struct stat data;
  if (file >= 0 && (fstat(file, &data) != 0 || !S_ISREG(data.st_mode) || data.st_uid != geteuid())) {
    close(file);
    return -1;
  }
  return file;
}

int openBelowHome(const std::string& home) {
  return openLockFile(enterOwnFolder(enterOwnFolder(openOwnFolder(home), ".cache"), "tolm"), "run.lock");
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

// The first file that can be had. A run outside of a session (a timer's, say) knows no runtime folder and
// still has to meet the session's runs, so the folder's usual place is tried without the variable too.
int openFirstLockFile() {
  constexpr char kName[] = "tolm.lock";
  int file = openLockFile(openOwnFolder(environmentValue("XDG_RUNTIME_DIR")), kName);
  if (file < 0) {
    file = openLockFile(openOwnFolder("/run/user/" + std::to_string(geteuid())), kName);
  }
  if (file < 0) {
    // Root's own on every machine, and nobody else's folder passes the look at its owner.
    file = openLockFile(openOwnFolder("/run"), kName);
  }
  if (file < 0) {
    file = openBelowHome(environmentValue("HOME"));
  }
  if (file < 0) {
    file = openBelowHome(homeOfUser());
  }
  return file;
}

int lockFile(int file, int operation) {
  int answer = -1;
  do {
    answer = flock(file, operation);
  } while (answer != 0 && errno == EINTR);
  return answer;
}

}  // namespace

RunLock::~RunLock() {
  if (m_bHeld) {
    // Nothing is left half done where the object is destroyed.
    static_cast<void>(!ftruncate(m_nFile, 0));
  }
  if (m_nFile >= 0) {
    close(m_nFile);
  }
}

RunLock::Answer RunLock::open() {
  if (m_nFile < 0) {
    m_nFile = openFirstLockFile();
  }
  if (m_nFile < 0) {
    LOG_MESSAGE(kLogWarning, "No folder of the user's own can hold the lock of a run; going on without one");
    return Answer::kUnavailable;
  }
  return Answer::kHeld;
}

RunLock::Answer RunLock::tryAcquire() {
  if (open() == Answer::kUnavailable) {
    return Answer::kUnavailable;
  }
  if (lockFile(m_nFile, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) {
      LOG_RETURN_CODE_DESCRIBED(kLogWarning, "flock", errno, std::strerror(errno));
      return Answer::kUnavailable;
    }
    readContent();
    return Answer::kBusy;
  }
  m_bHeld = true;
  readContent();
  m_nHolder = 0;
  writeContent("");
  return Answer::kHeld;
}

RunLock::Answer RunLock::acquire() {
  const Answer answer = tryAcquire();
  if (answer != Answer::kBusy) {
    return answer;
  }
  if (lockFile(m_nFile, LOCK_EX) != 0) {
    LOG_RETURN_CODE_DESCRIBED(kLogWarning, "flock", errno, std::strerror(errno));
    return Answer::kUnavailable;
  }
  m_bHeld = true;
  readContent();
  m_nHolder = 0;
  writeContent("");
  return Answer::kHeld;
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
  const ssize_t got = pread(m_nFile, content.data(), content.size(), 0);
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
  // In one write, and cut behind it: whoever is busy-waiting reads it meanwhile.
  const ssize_t put = pwrite(m_nFile, content.data(), content.size(), 0);
  if (put != static_cast<ssize_t>(content.size()) || ftruncate(m_nFile, put) != 0) {
    LOG_RETURN_CODE_DESCRIBED(kLogWarning, "pwrite", errno, std::strerror(errno));
  }
}

}  // namespace halvo
