#include "vpn/tools/TOLM/TOLMConsole/Password.h"

#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

namespace halvo {

namespace {

volatile std::sig_atomic_t s_nSignal = 0;

void noteSignal(int number) {
  s_nSignal = number;
}

// Whether a signal that nobody has set anything for ends or stops a program that asks for a password. The two
// that background programs get when they touch the terminal are left out: setting it back would raise them.
bool endsOrStops(int number) {
  switch (number) {
    case SIGKILL:
    case SIGSTOP:
    case SIGCHLD:
    case SIGCONT:
    case SIGURG:
    case SIGWINCH:
    case SIGTTIN:
    case SIGTTOU:
      return false;
    default:
      return true;
  }
}

// Closes on every way out.
class Descriptor {
 public:
  explicit Descriptor(int number) : m_nNumber(number) {}
  ~Descriptor() {
    if (m_nNumber >= 0) {
      close(m_nNumber);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int get() const { return m_nNumber; }

 private:
  int m_nNumber;
};

// While it lives the terminal doesn't echo, and the signals above are noted, but for those that the caller
// has chosen to ignore. They are delivered only while `waitMask` is in force, so none falls between a look at
// s_nSignal and a wait.
class SilentTerminal {
 public:
  explicit SilentTerminal(int terminal) : m_nTerminal(terminal) {
    s_nSignal = 0;
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &m_OldMask);
    m_WaitMask = m_OldMask;
    struct sigaction note = {};
    note.sa_handler = noteSignal;
    for (int number = 1; number < NSIG; ++number) {
      struct sigaction& old = m_OldActions[static_cast<std::size_t>(number)];
      bool& noted = m_Noted[static_cast<std::size_t>(number)];
      noted = endsOrStops(number) && sigaction(number, nullptr, &old) == 0 && old.sa_handler != SIG_IGN &&
              sigaction(number, &note, nullptr) == 0;
      if (noted) {
        sigdelset(&m_WaitMask, number);
      }
    }
    m_bSet = tcgetattr(terminal, &m_OldSettings) == 0;
    if (m_bSet) {
      termios silent = m_OldSettings;
      silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
      // Whole lines, whatever was set: readLine() knows no key to take letters back.
      silent.c_lflag |= ICANON;
      // What was typed ahead of the question goes: it was meant for something else.
      m_bSet = tcsetattr(terminal, TCSAFLUSH, &silent) == 0;
    }
  }
  ~SilentTerminal() {
    if (m_bSet) {
      // Ahead of the rest: a signal that has waited ends the program as soon as the mask is back.
      tcsetattr(m_nTerminal, TCSAFLUSH, &m_OldSettings);
    }
    for (int number = 1; number < NSIG; ++number) {
      if (m_Noted[static_cast<std::size_t>(number)]) {
        sigaction(number, &m_OldActions[static_cast<std::size_t>(number)], nullptr);
      }
    }
    pthread_sigmask(SIG_SETMASK, &m_OldMask, nullptr);
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  [[nodiscard]] bool isSet() const { return m_bSet; }
  [[nodiscard]] const sigset_t& waitMask() const { return m_WaitMask; }

 private:
  int m_nTerminal;
  bool m_bSet = false;
  termios m_OldSettings = {};
  sigset_t m_OldMask = {};
  sigset_t m_WaitMask = {};
  std::array<struct sigaction, NSIG> m_OldActions = {};
  std::array<bool, NSIG> m_Noted = {};
};

void writeText(int descriptor, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t put = write(descriptor, text.data() + done, text.size() - done);
    if (put < 0 && errno != EINTR) {
      return;
    }
    done += put > 0 ? static_cast<std::size_t>(put) : 0;
  }
}

enum class LineEnd { kLine, kEndOfInput, kSignal, kFailure };

// Longer by one byte than any good line, for the carriage return of a file's, and by one more, which tells
// one that is too long.
constexpr std::size_t kRoom = kMaxPassword + 2;

// Reads up to a line feed, which isn't kept, and drops what there is no room for.
LineEnd readLine(int terminal, const sigset_t& waitMask, Secret& line) {
  for (;;) {
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(terminal, &ready);
    if (pselect(terminal + 1, &ready, nullptr, nullptr, nullptr, &waitMask) < 0) {
      if (errno == EINTR && s_nSignal == 0) {
        continue;
      }
      return errno == EINTR ? LineEnd::kSignal : LineEnd::kFailure;
    }
    char c = 0;
    const ssize_t got = read(terminal, &c, 1);
    if (got == 0) {
      return LineEnd::kEndOfInput;
    }
    if (got < 0) {
      if (errno == EINTR || errno == EAGAIN) {
        continue;
      }
      return LineEnd::kFailure;
    }
    if (c == '\n') {
      return LineEnd::kLine;
    }
    static_cast<void>(line.append(c));
  }
}

// Why the password can't be used; empty if it can.
std::string objection(std::string_view password) {
  if (password.empty()) {
    return "the password is empty";
  }
  if (password.size() > kMaxPassword) {
    return "the password is longer than " + std::to_string(kMaxPassword) + " bytes";
  }
  // The archive takes a password up to its first zero byte: it would be encrypted with less than was given.
  if (password.find('\0') != std::string_view::npos) {
    return "the password holds a zero byte";
  }
  return "";
}

// One question. Comes back after a stop (Ctrl-Z and fg) and asks again; a signal that ends the program
// ends it, with the terminal as it was found.
PasswordResult askOnce(int terminal, const std::string& prompt) {
  for (;;) {
    PasswordResult result = {std::make_shared<Secret>(kRoom), ""};
    LineEnd end = LineEnd::kFailure;
    {
      const SilentTerminal silent(terminal);
      if (!silent.isSet()) {
        return {nullptr, "the terminal can't be told not to echo"};
      }
      writeText(terminal, prompt);
      end = readLine(terminal, silent.waitMask(), *result.password);
      writeText(terminal, "\n");
    }
    if (end == LineEnd::kSignal) {
      raise(s_nSignal);
      continue;
    }
    if (end != LineEnd::kLine) {
      return {nullptr, "no password was entered"};
    }
    return result;
  }
}

}  // namespace

PasswordResult readPasswordFile(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) {
    return {nullptr, "the password file \"" + path + "\" can't be opened: " + std::strerror(errno)};
  }
  PasswordResult result = {std::make_shared<Secret>(kRoom), ""};
  Secret& line = *result.password;
  char c = 0;
  // Byte by byte: what stands behind the line in a pipe is somebody else's.
  while (line.view().size() < kRoom) {
    const ssize_t got = read(file.get(), &c, 1);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return {nullptr, "the password file \"" + path + "\" can't be read: " + std::strerror(errno)};
    }
    if (got == 0) {
      break;
    }
    if (c == '\n') {
      if (!line.empty() && line.view().back() == '\r') {
        line.shorten();
      }
      break;
    }
    static_cast<void>(line.append(c));
  }
  if (const std::string why = objection(line.view()); !why.empty()) {
    return {nullptr, "the first line of the password file \"" + path + "\" can't be used: " + why};
  }
  return result;
}

PasswordResult askPassword(PasswordUse use) {
  const Descriptor terminal(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (terminal.get() < 0) {
    return {nullptr, "there is no terminal to ask for the password on; use --password-file"};
  }
  PasswordResult first = askOnce(terminal.get(), "Password of the bundle: ");
  if (!first.error.empty()) {
    return first;
  }
  if (const std::string why = objection(first.password->view()); !why.empty()) {
    return {nullptr, why};
  }
  if (use == PasswordUse::kExisting) {
    return first;
  }
  const PasswordResult second = askOnce(terminal.get(), "The same again: ");
  if (!second.error.empty()) {
    return second;
  }
  if (second.password->view() != first.password->view()) {
    return {nullptr, "the two passwords differ"};
  }
  return first;
}

bool askYes(const std::string& question) {
  // Not standard output, which may be a file that nobody looks at now.
  const Descriptor terminal(open("/dev/tty", O_WRONLY | O_NOCTTY | O_CLOEXEC));
  writeText(terminal.get() >= 0 ? terminal.get() : STDERR_FILENO, question);
  std::string answer;
  char c = 0;
  for (;;) {
    const ssize_t got = read(STDIN_FILENO, &c, 1);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0 || c == '\n') {
      break;
    }
    if (answer.size() < 16) {
      answer += c;
    }
  }
  answer = CStringUtils::toLower(answer);
  return answer == "y" || answer == "yes";
}

}  // namespace halvo
