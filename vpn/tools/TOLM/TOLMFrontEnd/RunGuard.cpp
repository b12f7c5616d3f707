#include "vpn/tools/TOLM/TOLMFrontEnd/RunGuard.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/FolderRemoval.h"
#include "vpn/Common/Utility/TemporaryFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/RunRecord.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Descendants.h"

namespace halvo {

namespace {

// From a signal's arrival on nothing here asks for memory: the thread of the run may have been stopped
// inside of the allocator. All that the way to the end needs stands ready in static objects.

struct EndingSignal {
  int number;
  const char* name;
};
constexpr std::array<EndingSignal, 5> kEnding = {{{SIGINT, "SIGINT"},
                                                  {SIGTERM, "SIGTERM"},
                                                  {SIGHUP, "SIGHUP"},
                                                  {SIGXFSZ, "SIGXFSZ"},
                                                  {SIGQUIT, "SIGQUIT"}}};
// Stops the thread of the run. No program of the suite uses it for anything else.
constexpr int kParkSignal = SIGUSR2;
constexpr unsigned kGraceMs = 1000;
constexpr int kMostParkingMs = 2000;
constexpr int kMostYieldingMs = 10'000;
constexpr int kPollMs = 5;
constexpr int kLookMs = 500;  // between two looks of the watcher by itself
constexpr int kMostDescriptors = 4096;

int s_pipe[2] = {-1, -1};
std::atomic<std::uint32_t> s_command{0};
// The latest signal, and the command of its moment: for a notice that couldn't be written.
std::atomic<int> s_signal{0};
std::atomic<std::uint32_t> s_signalCommand{0};
// A signal that ends the run has come.
std::atomic<bool> s_ending{false};
std::atomic<bool> s_park{false};
std::atomic<bool> s_parked{false};
std::atomic<bool> s_running{false};
pthread_t s_runThread;
std::uint64_t s_runClock = 0;
bool s_quitEndsCommand = false;
std::array<struct sigaction, kEnding.size() + 1> s_oldActions;
std::array<bool, kEnding.size() + 1> s_installed;

bool s_hasTerminal = false;
int s_terminal = -1;
termios s_terminalSettings;

char s_unfinishedFile[PATH_MAX + 256];
std::atomic<bool> s_hasUnfinishedFile{false};
char s_workFolder[PATH_MAX];
// The last of the folders that the run held by a descriptor alone and that can't be removed.
char s_heldFolder[PATH_MAX];

bool s_hasCoreLimit = false;
rlim_t s_oldCoreLimit = 0;

// Not pipe2(), which isn't everywhere: no other thread starts a program while a guard is being built.
bool makePipe() {
  if (pipe(s_pipe) != 0) {
    return false;
  }
  for (const int end : s_pipe) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(end, F_SETFL, O_NONBLOCK);
  }
  return true;
}

// Has the watcher look around now. A notice that is lost costs it no more than its next look by itself.
void sendNotice() {
  static_cast<void>(!write(s_pipe[1], "", 1));
}

void onSignal(int number) {
  const int error = errno;
  if (number == SIGQUIT && s_quitEndsCommand && s_ending.load()) {
    // The run ends anyway: a key for one command must not take the place of what ends it.
    errno = error;
    return;
  }
  s_signalCommand.store(s_command.load());
  s_signal.store(number);
  if (number != SIGQUIT || !s_quitEndsCommand) {
    s_ending.store(true);
  }
  sendNotice();
  errno = error;
}

void onPark(int number) {
  if (!s_park.load()) {
    // Somebody else's: what it does by default.
    signal(number, SIG_DFL);
    raise(number);
    return;
  }
  s_parked.store(true);
  for (;;) {
    pause();
  }
}

void sleepMs(int milliseconds) {
  timespec rest = {0, milliseconds * 1'000'000L};
  nanosleep(&rest, nullptr);
}

// Stops the run's thread for good. A thread that waits for a disk gets there when its call returns.
void parkRun() {
  s_park.store(true);
  if (pthread_kill(s_runThread, kParkSignal) != 0) {
    return;
  }
  for (int waited = 0; waited < kMostParkingMs && !s_parked.load(); waited += kPollMs) {
    sleepMs(kPollMs);
  }
}

void removeUnfinishedFile() {
  if (s_hasUnfinishedFile.load()) {
    unlink(s_unfinishedFile);
  }
}

// The run holds its work folder open, locked, from the moment it is made: the folder is found that way where
// it was too new to be told.
void removeHeldFolders() {
  char link[] = "/proc/self/fd/0000";
  char target[PATH_MAX];
  for (int descriptor = 0; descriptor < kMostDescriptors; ++descriptor) {
    char digits[5] = {};
    int count = 0;
    int rest = descriptor;
    do {
      digits[count++] = static_cast<char>('0' + rest % 10);
      rest /= 10;
    } while (rest > 0);
    std::size_t at = std::strlen("/proc/self/fd/");
    while (count > 0) {
      link[at++] = digits[--count];
    }
    link[at] = '\0';
    const ssize_t length = readlink(link, target, sizeof(target) - 1);
    if (length <= 0) {
      continue;
    }
    target[length] = '\0';
    if (std::strncmp(target, helperUtil::kWorkFolder, sizeof(helperUtil::kWorkFolder) - 1) != 0) {
      continue;
    }
    // The folder itself, and not a file or folder in it.
    const char* const name = target + std::strlen("/tmp/");
    if (std::strchr(name, '/') == nullptr && std::strchr(name, ' ') == nullptr &&
        !removeFolder(AT_FDCWD, target) && std::strcmp(target, s_workFolder) != 0) {
      std::memcpy(s_heldFolder, target, static_cast<std::size_t>(length) + 1);
    }
  }
}

void writeText(int descriptor, const char* text) {
  static_cast<void>(!write(descriptor, text, std::strlen(text)));
}

// As it was when the run began: a command may have left it without echo. Of a run in the background the
// terminal is another program's, which has set it up for itself.
void restoreTerminal() {
  if (s_hasTerminal && tcgetpgrp(s_terminal) == getpgrp()) {
    tcsetattr(s_terminal, TCSANOW, &s_terminalSettings);
  }
}

// A signal that ends a command, or the run, would leave a core in the caller's folder, with what was
// gathered.
void setCores(bool allowed) {
  rlimit limit = {};
  if (!allowed && getrlimit(RLIMIT_CORE, &limit) == 0) {
    s_oldCoreLimit = limit.rlim_cur;
    limit.rlim_cur = 0;
    s_hasCoreLimit = setrlimit(RLIMIT_CORE, &limit) == 0;
  } else if (allowed && s_hasCoreLimit && getrlimit(RLIMIT_CORE, &limit) == 0) {
    limit.rlim_cur = s_oldCoreLimit;
    setrlimit(RLIMIT_CORE, &limit);
    s_hasCoreLimit = false;
  }
}

bool isThere(const char* path) {
  struct stat data;
  return lstat(path, &data) == 0;
}

// A path between quotation marks, without what a terminal would obey.
void writePath(int descriptor, const char* path) {
  char text[PATH_MAX + 256 + 2];
  std::size_t at = 0;
  text[at++] = '"';
  for (; *path != '\0' && at < sizeof(text) - 1; ++path) {
    const auto byte = static_cast<unsigned char>(*path);
    text[at++] = byte < 0x20 || byte >= 0x7F ? '?' : *path;
  }
  text[at++] = '"';
  static_cast<void>(!write(descriptor, text, at));
}

// Behind the line's first words: what the end of a run has left, by a look at it.
void writeWhatStays(int descriptor, int living) {
  const char* word = "; it couldn't remove ";
  const char* const paths[] = {s_workFolder, s_heldFolder,
                               s_hasUnfinishedFile.load() ? s_unfinishedFile : ""};
  for (const char* const path : paths) {
    if (*path != '\0' && isThere(path)) {
      writeText(descriptor, word);
      writePath(descriptor, path);
      word = " and ";
    }
  }
  if (living > 0) {
    writeText(descriptor, "; a command that couldn't be ended is left running");
  } else if (*word == ';') {
    writeText(descriptor, "; it has left nothing behind");
  }
}

const char* nameOf(int number) {
  for (const EndingSignal& ending : kEnding) {
    if (ending.number == number) {
      return ending.name;
    }
  }
  return "a signal";
}

std::string secondsText(std::chrono::steady_clock::duration time) {
  const long long seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  return std::to_string(seconds) + (seconds == 1 ? " second" : " seconds");
}

}  // namespace

void RunGuard::noteUnfinishedFile(const std::string& path) {
  // Off while the name changes: a signal in between must not remove half a name's file.
  s_hasUnfinishedFile.store(false);
  if (path.empty() || path.size() >= sizeof(s_unfinishedFile)) {
    return;
  }
  std::memcpy(s_unfinishedFile, path.c_str(), path.size() + 1);
  s_hasUnfinishedFile.store(true);
}

void RunGuard::yieldToSignal() {
  // The watcher stops this thread meanwhile.
  for (int waited = 0; s_running.load() && s_ending.load() && waited < kMostYieldingMs; waited += kPollMs) {
    sleepMs(kPollMs);
  }
}

void RunGuard::endRunAtOnce() {
  if (!s_running.load()) {
    // What the commands of a run that is over have left behind.
    if (s_runClock != 0) {
      endDescendants(s_runClock, kGraceMs);
    }
    return;
  }
  if (pthread_equal(pthread_self(), s_runThread) != 0) {
    return;
  }
  // The run first: it would take an ended command for a finished one, and start the next.
  parkRun();
  endDescendants(s_runClock, kGraceMs);
  removeUnfinishedFile();
}

RunGuard::RunGuard(GuardSettings settings) : m_Settings(std::move(settings)) {
  if (!makePipe()) {
    const int error = errno;
    LOG_RETURN_CODE_DESCRIBED(kLogWarning, "pipe", error, std::strerror(error));
    tellUnguarded(error);
    return;
  }
  s_runThread = pthread_self();
  s_runClock = processClock();
  s_park.store(false);
  s_parked.store(false);
  s_command.store(0);
  s_signal.store(0);
  s_ending.store(false);
  s_hasUnfinishedFile.store(false);
  s_workFolder[0] = '\0';
  s_heldFolder[0] = '\0';
  // The terminal itself: the program's streams may lead elsewhere.
  s_terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  s_hasTerminal = s_terminal >= 0 && tcgetattr(s_terminal, &s_terminalSettings) == 0;
  s_quitEndsCommand = s_hasTerminal && m_Settings.endBySignal;
  // On a host without that, what a command leaves behind it is out of reach.
  static_cast<void>(adoptOrphans());

  // The watcher takes no signal itself: they interrupt the run's thread, as they always did.
  sigset_t all;
  sigset_t old;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &old);
  // Ahead of the watcher, which ends where it finds no run.
  s_running.store(true);
  // Not a std::thread: its thread frees a state that was made by another, and for that gets a heap of its
  // own.
  const auto watch = [](void* guard) -> void* {
    static_cast<RunGuard*>(guard)->watch();
    return nullptr;
  };
  const int error = pthread_create(&m_Watcher, nullptr, watch, this);
  m_bGuarding = error == 0;
  if (!m_bGuarding) {
    s_running.store(false);
    LOG_RETURN_CODE_DESCRIBED(kLogWarning, "pthread_create", error, std::strerror(error));
    tellUnguarded(error);
  }
  m_CallersSignals = old;
  // Behind the watcher: a signal without anybody to act on it had better end the program as it always did.
  if (m_bGuarding) {
    installHandlers();
    setCommandObserver(this);
    setCores(false);
    // A caller that has blocked them, by negligence mostly, would have a run that nothing but SIGKILL ends.
    for (std::size_t i = 0; i <= kEnding.size(); ++i) {
      if (s_installed[i]) {
        sigdelset(&old, i < kEnding.size() ? kEnding[i].number : kParkSignal);
      }
    }
  }
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
}

RunGuard::~RunGuard() {
  if (m_bGuarding) {
    setCommandObserver(nullptr);
    yieldToSignal();
    s_running.store(false);
    sendNotice();
    // Ahead of the handlers: a watcher that is on its way to the end stops this thread here.
    pthread_join(m_Watcher, nullptr);
    setCores(true);
    pthread_sigmask(SIG_SETMASK, &m_CallersSignals, nullptr);
    restoreHandlers();
    if (const int number = s_signal.exchange(0); number != 0) {
      // Too late for the run, which is over; it does what it did ahead of it.
      restoreTerminal();
      raise(number);
    }
  }
  s_hasUnfinishedFile.store(false);
  for (int* const descriptor : {&s_pipe[0], &s_pipe[1], &s_terminal}) {
    if (*descriptor >= 0) {
      close(*descriptor);
      *descriptor = -1;
    }
  }
}

void RunGuard::installHandlers() {
  for (std::size_t i = 0; i <= kEnding.size(); ++i) {
    const int number = i < kEnding.size() ? kEnding[i].number : kParkSignal;
    struct sigaction action = {};
    action.sa_handler = number == kParkSignal ? onPark : onSignal;
    // A call that a signal interrupts goes on: what ends the run is the watcher, not a failed call.
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    s_installed[i] = sigaction(number, nullptr, &s_oldActions[i]) == 0 &&
                     (number == kParkSignal || s_oldActions[i].sa_handler != SIG_IGN) &&
                     sigaction(number, &action, nullptr) == 0;
  }
}

void RunGuard::restoreHandlers() {
  for (std::size_t i = 0; i <= kEnding.size(); ++i) {
    if (s_installed[i]) {
      sigaction(i < kEnding.size() ? kEnding[i].number : kParkSignal, &s_oldActions[i], nullptr);
    }
  }
}

void RunGuard::commandStarts(const std::string& commandLine) {
  {
    const std::lock_guard<std::mutex> guard(m_Lock);
    m_strCommand = commandLine;
    m_Started = Clock::now();
    m_nClock = processClock();
    m_bEnded = false;
    m_bOverTime = false;
    m_bGivenUp.store(false);
    m_nSerial = ++m_nLatest;
  }
  s_command.store(m_nLatest);
  // The watcher may sleep longer than this command has.
  if (m_Settings.commandTimeoutSeconds > 0) {
    sendNotice();
  }
}

void RunGuard::commandEnded() {
  // First: a key pressed from here on meets no command.
  s_command.store(0);
  const std::lock_guard<std::mutex> guard(m_Lock);
  if (m_bOverTime) {
    recordOverTime();
  }
  m_nSerial = 0;
}

bool RunGuard::isCommandGivenUp() const {
  return m_bGivenUp.load();
}

int RunGuard::waitTime(std::uint32_t& serial) {
  const std::lock_guard<std::mutex> guard(m_Lock);
  serial = m_nSerial;
  if (m_Settings.commandTimeoutSeconds == 0 || m_nSerial == 0 || m_bEnded) {
    return -1;
  }
  const auto end = m_Started + std::chrono::seconds(m_Settings.commandTimeoutSeconds);
  const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
  // A millisecond more than is left, so that none is left then.
  return rest < 0 ? 0 : rest >= INT_MAX ? INT_MAX : static_cast<int>(rest) + 1;
}

void RunGuard::watch() {
  while (s_running.load()) {
    std::uint32_t serial = 0;
    const int wait = waitTime(serial);
    pollfd ready = {s_pipe[0], POLLIN, 0};
    const int polled = poll(&ready, 1, wait < 0 || wait > kLookMs ? kLookMs : wait);
    if (char noticed[64]; polled > 0) {
      static_cast<void>(!read(s_pipe[0], noticed, sizeof(noticed)));
    }
    // Whatever the pipe has said: where it was full, the notice of a signal is lost and the signal is not.
    if (const int number = s_signal.exchange(0); number != 0) {
      if (number == SIGQUIT && s_quitEndsCommand) {
        endCommand(s_signalCommand.load(), false);
      } else {
        endProcess(number);
      }
    } else if (polled == 0 && wait >= 0 && wait <= kLookMs) {
      endCommand(serial, true);
    }
  }
  // On a busy machine the run may be over ahead of this thread's first look. The command has met the signal
  // by itself then, and the program must not end by it afterwards.
  if (int quit = SIGQUIT; s_quitEndsCommand && s_signal.compare_exchange_strong(quit, 0)) {
    endCommand(s_signalCommand.load(), false);
  }
}

void RunGuard::endCommand(std::uint32_t serial, bool overTime) {
  std::string line;
  {
    const std::lock_guard<std::mutex> guard(m_Lock);
    if (serial == 0 || serial != m_nLatest || (overTime && m_nSerial != serial)) {
      line = overTime ? "" : "no command is running; Ctrl-C ends the run";
    } else {
      // A command that Ctrl-\ met itself may be gone by now; it was ended all the same.
      const Clock::duration time = Clock::now() - m_Started;
      m_bEnded = true;
      m_bOverTime = overTime;
      // One that works with more rights than this process is nobody's to end but its own.
      const bool living = m_nSerial == serial && endDescendants(m_nClock, kGraceMs) > 0;
      m_bGivenUp.store(living);
      try {
        line = "the command \"" + m_strCommand + "\" " + (living ? "couldn't be ended" : "was ended") +
               " after " + secondsText(time) + (overTime ? ", the time that commands have" : "") +
               (living ? ", and is left running" : "") + "; what it had printed is kept";
      } catch (const std::bad_alloc&) {
        // The command is ended, which counts; without memory there are no words for it.
        return;
      }
    }
  }
  if (!line.empty()) {
    LOG_MESSAGE(kLogWarning, "%s", line.c_str());
    tell(line);
  }
}

void RunGuard::tell(const std::string& line) {
  if (!m_Settings.tell) {
    return;
  }
  try {
    m_Settings.tell(line);
  } catch (const std::bad_alloc&) {
    // Nobody above this thread could take it.
    return;
  }
}

void RunGuard::tellUnguarded(int error) {
  tell("nobody watches over this run (" + std::string(std::strerror(error)) +
       "): commands have no limit of time, and a signal that ends it leaves its work folder behind");
}

void RunGuard::endProcess(int signal) {
  // Asks for memory and takes a lock, so it is done while the run's thread still goes on.
  // Without memory, and where it is too long, the folder is found by the descriptor that holds it.
  try {
    const std::string folder = m_Settings.workFolder ? m_Settings.workFolder() : "";
    if (folder.size() < sizeof(s_workFolder)) {
      std::memcpy(s_workFolder, folder.c_str(), folder.size() + 1);
    }
  } catch (const std::bad_alloc&) {
    s_workFolder[0] = '\0';
  }
  LOG_MESSAGE(kLogWarning, "The run is ended by %s", nameOf(signal));
  parkRun();
  // Ahead of the folder, into which they could write anew.
  const int living = endDescendants(s_runClock, kGraceMs);
  if (s_workFolder[0] != '\0') {
    removeFolder(AT_FDCWD, s_workFolder);
  }
  removeHeldFolders();
  removeUnfinishedFile();
  TemporaryFolder::removeAll();
  restoreTerminal();
  if (m_Settings.endBySignal) {
    // The line of progress ends without a line feed.
    if (isatty(m_Settings.errorStream) != 0) {
      writeText(m_Settings.errorStream, "\n");
    }
    writeText(m_Settings.errorStream, m_Settings.program.c_str());
    writeText(m_Settings.errorStream, ": the run was ended by ");
    writeText(m_Settings.errorStream, nameOf(signal));
    writeWhatStays(m_Settings.errorStream, living);
    writeText(m_Settings.errorStream, "\n");
    // By the signal itself, so that a shell sees what has ended the program. The status stands in for it
    // where something else holds the signal back.
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    sigaction(signal, &byDefault, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    kill(getpid(), signal);
    // The signal may take a moment to arrive.
    sleepMs(100);
    _exit(128 + signal);
  }
  _exit(0);
}

}  // namespace halvo
