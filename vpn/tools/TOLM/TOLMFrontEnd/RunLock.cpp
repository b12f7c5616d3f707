#include "vpn/tools/TOLM/TOLMFrontEnd/RunLock.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <ios>
#include <string>
#include <utility>
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

bool isOfUser(int folder) {
  struct stat data;
  return fstat(folder, &data) == 0 && data.st_uid == geteuid();
}

DescriptorHolder openFolder(const std::string& path) {
  return path.empty() || path.front() != '/'
             ? DescriptorHolder()
             : DescriptorHolder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

// Opens `path` if it is a folder of the user's own.
DescriptorHolder openOwnFolder(const std::string& path) {
  DescriptorHolder folder = openFolder(path);
  if (folder && !isOwnFolder(folder.get())) {
    folder.reset();
  }
  return folder;
}

// Opens a folder inside of another, making it where it is missing.
DescriptorHolder enterFolder(const DescriptorHolder& parent, const char* name, int flags) {
  if (!parent || (mkdirat(parent.get(), name, kOwnFolder) != 0 && errno != EEXIST)) {
    return DescriptorHolder();
  }
  return DescriptorHolder(openat(parent.get(), name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags));
}

// Many a home folder, and the cache in it, is open to a group. That does for the way: who could carry these
// folders off could have two runs made at once, and nothing worse. The last folder is the user's alone.
DescriptorHolder openBelowHome(const std::string& home) {
  const DescriptorHolder top = openFolder(home);
  // A link of the user's own leads where he wants it; one that others may have laid isn't followed.
  const bool isOwn = top && isOwnFolder(top.get());
  const DescriptorHolder cache = enterFolder(top, ".cache", isOwn ? 0 : O_NOFOLLOW);
  if (!cache || !isOfUser(cache.get())) {
    return DescriptorHolder();
  }
  DescriptorHolder folder = enterFolder(cache, "tolm", O_NOFOLLOW);
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

std::string environmentValue(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string homeOfUser() {
  // Read here and not asked of the C library, which ends the process where its look into the user database
  // finds no memory. Who stands in a directory service alone has the variable.
  std::ifstream users("/etc/passwd");
  users.exceptions(std::ios::badbit);
  const std::string user = std::to_string(geteuid());
  // name:password:user:group:comment:home:shell
  constexpr std::size_t kUser = 2;
  constexpr std::size_t kHome = 5;
  for (std::string line; std::getline(users, line);) {
    std::vector<std::string> fields(1);
    for (const char c : line) {
      if (c == ':') {
        fields.emplace_back();
      } else {
        fields.back() += c;
      }
    }
    if (fields.size() > kHome && fields[kUser] == user) {
      return fields[kHome];
    }
  }
  return "";
}

// Home folders are shared between machines here and there, and a run on another one is in nobody's way.
std::string nameBelowHome() {
  char host[256] = "";
  if (gethostname(host, sizeof(host) - 1) != 0) {
    host[0] = '\0';
  }
  return std::string("run.") + host + ".lock";
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

LockFolders lockFoldersOfUser() {
  LockFolders folders;
  if (geteuid() == 0) {
    folders.root = "/run";
  }
  // The home folder that the user has, whatever the variable says, and the variable's for those who have
  // none. The runtime folder's usual place is looked at without the variable too.
  folders.homes = {homeOfUser(), environmentValue("HOME")};
  folders.runtimes = {"/run/user/" + std::to_string(geteuid()), environmentValue("XDG_RUNTIME_DIR")};
  return folders;
}

RunLock::RunLock(LockFolders folders) : m_Folders(std::move(folders)) {}

RunLock::~RunLock() {
  if (!m_bHeld) {
    return;
  }
  for (const Place& place : m_Places) {
    // While the lock is held: whoever waits for this file finds it gone, and makes another.
    unlinkat(place.folder.get(), place.name.c_str(), 0);
  }
}

void RunLock::addPlace(DescriptorHolder folder, const std::string& name) {
  DescriptorHolder file = openLockFile(folder, name);
  if (!file) {
    return;
  }
  // Two ways may lead to one folder, and whoever has locked a file would wait for himself at the second.
  for (const Place& known : m_Places) {
    if (isNamed(known.folder.get(), known.name, file.get())) {
      return;
    }
  }
  m_Places.push_back({std::move(folder), name, std::move(file)});
}

void RunLock::openPlaces() {
  m_Places.clear();
  if (!m_Folders.root.empty()) {
    addPlace(openOwnFolder(m_Folders.root), "tolm.lock");
    if (!m_Places.empty()) {
      return;
    }
  }
  for (const std::string& home : m_Folders.homes) {
    addPlace(openBelowHome(home), nameBelowHome());
  }
  for (const std::string& runtime : m_Folders.runtimes) {
    addPlace(openOwnFolder(runtime), "tolm.lock");
  }
}

RunLock::Taking RunLock::takeAll() {
  openPlaces();
  for (auto place = m_Places.begin(); place != m_Places.end();) {
    if (lockFile(place->file.get(), LOCK_EX | LOCK_NB) == 0) {
      // The run that held it may have removed it meanwhile: a lock on a file without a name keeps nobody out.
      if (!isNamed(place->folder.get(), place->name, place->file.get())) {
        return Taking::kAgain;
      }
      ++place;
    } else if (errno == EWOULDBLOCK) {
      m_Busy = std::move(place->file);
      return Taking::kBusy;
    } else {
      // Some file systems know no locks.
      LOG_RETURN_CODE_DESCRIBED(kLogWarning, "flock", errno, std::strerror(errno));
      place = m_Places.erase(place);
    }
  }
  return Taking::kAll;
}

RunLock::Answer RunLock::take(bool wait) {
  for (;;) {
    const Taking taking = takeAll();
    if (taking == Taking::kAll) {
      break;
    }
    // All or none, so that no two runs hold what the other wants. The files stay: what a killed run has
    // noted in one of them is still to be read.
    m_Places.clear();
    if (taking == Taking::kAgain) {
      continue;
    }
    std::string unused;
    m_nHolder = readContent(m_Busy.get(), unused);
    if (!wait) {
      m_Busy.reset();
      return Answer::kBusy;
    }
    const int waited = lockFile(m_Busy.get(), LOCK_EX);
    m_Busy.reset();
    if (waited != 0) {
      LOG_RETURN_CODE_DESCRIBED(kLogWarning, "flock", errno, std::strerror(errno));
      return Answer::kUnavailable;
    }
  }
  if (m_Places.empty()) {
    LOG_MESSAGE(kLogWarning, "No folder of the user's own can hold the lock of a run; going on without one");
    return Answer::kUnavailable;
  }
  m_bHeld = true;
  m_nHolder = 0;
  m_Unfinished.clear();
  for (const Place& place : m_Places) {
    // Read ahead of being written: what the last holder left behind is named there.
    std::string bundle;
    static_cast<void>(readContent(place.file.get(), bundle));
    if (!bundle.empty() &&
        std::find(m_Unfinished.begin(), m_Unfinished.end(), bundle) == m_Unfinished.end()) {
      m_Unfinished.push_back(bundle);
    }
  }
  writeContent("");
  return Answer::kHeld;
}

RunLock::Answer RunLock::tryAcquire() {
  return take(false);
}

RunLock::Answer RunLock::acquire() {
  return take(true);
}

void RunLock::noteBundle(const std::string& path) {
  if (m_bHeld) {
    writeContent(path);
  }
}

pid_t RunLock::readContent(int file, std::string& bundle) {
  std::string content(kLongestContent, '\0');
  const ssize_t got = pread(file, content.data(), content.size(), 0);
  content.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  const std::size_t end = content.find('\n');
  if (end == std::string::npos) {
    return 0;
  }
  // The path ends in a zero byte, which no path holds.
  if (content.size() > end + 1 && content.back() == '\0') {
    bundle = content.substr(end + 1, content.size() - end - 2);
  }
  return static_cast<pid_t>(std::strtol(content.c_str(), nullptr, 10));
}

void RunLock::writeContent(const std::string& bundle) {
  std::string content = std::to_string(getpid()) + "\n";
  if (!bundle.empty()) {
    content += bundle + '\0';
  }
  const SizeSignalHeld held;
  for (const Place& place : m_Places) {
    // In one write, and cut behind it: whoever is busy-waiting reads it meanwhile.
    const ssize_t put = pwrite(place.file.get(), content.data(), content.size(), 0);
    if (put != static_cast<ssize_t>(content.size()) || ftruncate(place.file.get(), put) != 0) {
      LOG_RETURN_CODE_DESCRIBED(kLogWarning, "pwrite", errno, std::strerror(errno));
    }
  }
}

}  // namespace halvo
