#include "vpn/Common/Utility/TemporaryFolder.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "vpn/Common/Utility/FolderRemoval.h"

namespace halvo {

namespace {

// What a signal handler reads: nothing here asks for memory.
struct Place {
  std::atomic<bool> isTaken{false};
  std::atomic<bool> isMade{false};
  char path[PATH_MAX] = {};
};
std::array<Place, 16> s_places;
// The process that made them: a child of it has the list, and no right to what is on it.
std::atomic<pid_t> s_nOwner{0};

constexpr std::array<int, 5> kEnding = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXFSZ};
constexpr int kMostTries = 100;

void onEndingSignal(int number) {
  TemporaryFolder::removeAll();
  // Ends the program once this handler has returned: until then the signal is held back.
  struct sigaction byDefault = {};
  byDefault.sa_handler = SIG_DFL;
  sigaction(number, &byDefault, nullptr);
  raise(number);
}

// Stays where it is set: with no folder left it does nothing but end the program.
void handleSignals() {
  for (const int number : kEnding) {
    struct sigaction old = {};
    if (sigaction(number, nullptr, &old) != 0 || (old.sa_flags & SA_SIGINFO) != 0 ||
        old.sa_handler != SIG_DFL) {
      continue;
    }
    struct sigaction action = {};
    action.sa_handler = onEndingSignal;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
  }
}

// All signals held back for as long as it lives: none may come between a folder and its note.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_Old);
  }
  ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &m_Old, nullptr); }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

 private:
  sigset_t m_Old;
};

int takePlace() {
  for (std::size_t i = 0; i < s_places.size(); ++i) {
    if (!s_places[i].isTaken.exchange(true)) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

// Whether the open folder still has that name: another run of this user tidies up what nobody has locked, and
// may have met the folder before its lock.
bool isStill(int folder, const char* path) {
  struct stat open = {};
  struct stat named = {};
  return fstat(folder, &open) == 0 && lstat(path, &named) == 0 && open.st_dev == named.st_dev &&
         open.st_ino == named.st_ino;
}

}  // namespace

TemporaryFolder::~TemporaryFolder() {
  if (m_nPlace < 0) {
    return;
  }
  removeFolder(AT_FDCWD, s_places[static_cast<std::size_t>(m_nPlace)].path);
  giveUp();
}

void TemporaryFolder::giveUp() {
  Place& place = s_places[static_cast<std::size_t>(m_nPlace)];
  place.isMade.store(false);
  place.isTaken.store(false);
  m_nPlace = -1;
  m_strPath.clear();
  m_Lock.reset();
}

int TemporaryFolder::make(const std::string& parent, const std::string& start) {
  const std::string pattern = parent + "/" + start + "XXXXXX";
  if (pattern.size() >= sizeof(Place::path)) {
    return ENAMETOOLONG;
  }
  // Ahead of the folder: memory that runs out behind it would leave it.
  m_strPath = pattern;
  m_nPlace = takePlace();
  if (m_nPlace < 0) {
    m_strPath.clear();
    return EMFILE;
  }
  Place& place = s_places[static_cast<std::size_t>(m_nPlace)];
  const HeldSignals held;
  s_nOwner.store(getpid());
  handleSignals();
  for (int i = 0; i < kMostTries; ++i) {
    std::memcpy(place.path, pattern.c_str(), pattern.size() + 1);
    if (mkdtemp(place.path) == nullptr) {
      break;
    }
    place.isMade.store(true);
    m_Lock.reset(open(place.path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (m_Lock && flock(m_Lock.get(), LOCK_EX | LOCK_NB) == 0 && isStill(m_Lock.get(), place.path)) {
      std::memcpy(m_strPath.data(), place.path, pattern.size());
      return 0;
    }
    const int error = errno;
    place.isMade.store(false);
    if (!m_Lock) {
      rmdir(place.path);
      errno = error;
      break;
    }
    // Somebody tidies it up at this moment: the next one.
  }
  const int error = errno;
  giveUp();
  return error != 0 ? error : EBUSY;
}

void TemporaryFolder::removeAll() {
  if (s_nOwner.load() != getpid()) {
    return;
  }
  for (const Place& place : s_places) {
    if (place.isMade.load()) {
      removeFolder(AT_FDCWD, place.path);
    }
  }
}

}  // namespace halvo
