#include "tests/support/Terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace halvo::test {

namespace {

// Printed behind all that the program prints.
constexpr char kEndMark[] = "\x1e(the end)\x1e";

bool echoes(int terminal) {
  termios settings = {};
  return tcgetattr(terminal, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
}

}  // namespace

TerminalResult runOnTerminal(const std::vector<std::string>& arguments,
                             const std::vector<TerminalTurn>& turns, int timeoutSeconds) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
    throw std::runtime_error("no pseudo-terminal");
  }
  // Held open here, so that the settings can be looked at when the program has ended.
  const int slave = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
  // For the mark behind the output: it must not wait for room that nobody makes.
  const int behind = open(ptsname(master), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (slave < 0 || behind < 0) {
    throw std::runtime_error("no pseudo-terminal");
  }
  termios settings = {};
  tcgetattr(slave, &settings);
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  settings.c_lflag |= ECHO | ICANON | ISIG;
  tcsetattr(slave, TCSANOW, &settings);

  TerminalResult result;
  result.echoBefore = echoes(slave);
  std::vector<char*> list;
  for (const std::string& argument : arguments) {
    list.push_back(const_cast<char*>(argument.c_str()));
  }
  list.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("fork failed");
  }
  if (child == 0) {
    setsid();
    ioctl(slave, TIOCSCTTY, 0);
    for (int i = 0; i < 3; ++i) {
      dup2(slave, i);
    }
    execvp(list[0], list.data());
    _exit(127);
  }

  std::size_t turn = 0;
  std::size_t seen = 0;
  int status = 0;
  bool ended = false;
  const char* mark = kEndMark;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  while (!ended || result.run.out.find(kEndMark, seen) == std::string::npos) {
    if (std::chrono::steady_clock::now() >= deadline) {
      result.run.timedOut = !ended;
      kill(-child, SIGKILL);
      break;
    }
    struct pollfd end = {master, POLLIN, 0};
    const bool quiet = poll(&end, 1, 20) <= 0 || (end.revents & POLLIN) == 0;
    char buffer[4096];
    if (const ssize_t got = quiet ? 0 : read(master, buffer, sizeof(buffer)); got > 0) {
      result.run.out.append(buffer, static_cast<std::size_t>(got));
    }
    if (turn < turns.size()) {
      const std::size_t at = result.run.out.find(turns[turn].expect, seen);
      if (at != std::string::npos) {
        seen = at + turns[turn].expect.size();
        const std::string& text = turns[turn].send;
        if (!text.empty() && write(master, text.data(), text.size()) < 0) {
          break;
        }
        ++turn;
      }
    }
    if (!ended && waitpid(child, &status, WNOHANG) == child) {
      ended = true;
    }
    if (ended && *mark != '\0') {
      // What was printed comes over some time after it was written, and in the same order.
      const ssize_t put = write(behind, mark, std::strlen(mark));
      mark += put > 0 ? put : 0;
    }
  }
  if (const std::size_t at = result.run.out.find(kEndMark); at != std::string::npos) {
    result.run.out.erase(at, sizeof(kEndMark) - 1);
  }
  if (!ended) {
    waitpid(child, &status, 0);
  }
  result.allTurns = turn == turns.size();
  result.echoAfter = echoes(slave);
  if (WIFEXITED(status) && !result.run.timedOut) {
    result.run.exitStatus = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.run.signal = WTERMSIG(status);
  }
  close(behind);
  close(slave);
  close(master);
  return result;
}

}  // namespace halvo::test
