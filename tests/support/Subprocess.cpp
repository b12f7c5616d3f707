#include "tests/support/Subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace halvo::test {

namespace {

struct Pipe {
  int read = -1;
  int write = -1;
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
      throw std::runtime_error("pipe failed");
    }
    read = ends[0];
    write = ends[1];
  }
  ~Pipe() {
    closeEnd(read);
    closeEnd(write);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  static void closeEnd(int& end) {
    if (end >= 0) {
      close(end);
      end = -1;
    }
  }
};

[[noreturn]] void runChild(const std::vector<std::string>& arguments, const RunOptions& options, Pipe& in,
                           Pipe& out, Pipe& err) {
  setpgid(0, 0);
  dup2(in.read, 0);
  dup2(out.write, 1);
  dup2(err.write, 2);
  signal(SIGPIPE, SIG_DFL);
  if (!options.workingFolder.empty() && chdir(options.workingFolder.c_str()) != 0) {
    _exit(126);
  }
  for (const auto& [name, value] : options.environment) {
    setenv(name.c_str(), value.c_str(), 1);
  }
  for (const std::string& name : options.unset) {
    unsetenv(name.c_str());
  }
  std::vector<char*> list;
  for (const std::string& argument : arguments) {
    list.push_back(const_cast<char*>(argument.c_str()));
  }
  list.push_back(nullptr);
  execvp(list[0], list.data());
  _exit(127);
}

// Moves what is there from the pipe's end to `text`; closes the end at its end of file.
void drain(int& end, std::string& text) {
  char buffer[65536];
  const ssize_t got = read(end, buffer, sizeof(buffer));
  if (got > 0) {
    text.append(buffer, static_cast<std::size_t>(got));
  } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
    Pipe::closeEnd(end);
  }
}

}  // namespace

RunResult runProgram(const std::vector<std::string>& arguments, const RunOptions& options) {
  Pipe in;
  Pipe out;
  Pipe err;
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("fork failed");
  }
  if (child == 0) {
    runChild(arguments, options, in, out, err);
  }
  setpgid(child, child);
  Pipe::closeEnd(in.read);
  Pipe::closeEnd(out.write);
  Pipe::closeEnd(err.write);
  fcntl(in.write, F_SETFL, O_NONBLOCK);

  RunResult result;
  std::size_t written = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(options.timeoutSeconds);
  struct sigaction ignorePipe = {};
  struct sigaction oldPipe = {};
  ignorePipe.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignorePipe, &oldPipe);
  if (options.input.empty()) {
    Pipe::closeEnd(in.write);
  }
  int status = 0;
  bool ended = false;
  while (!ended || out.read >= 0 || err.read >= 0) {
    if (std::chrono::steady_clock::now() >= deadline) {
      result.timedOut = !ended;
      kill(-child, SIGKILL);
      break;
    }
    struct pollfd ends[3] = {{out.read, POLLIN, 0}, {err.read, POLLIN, 0}, {in.write, POLLOUT, 0}};
    poll(ends, 3, ended ? 200 : 10);
    if (ends[0].revents != 0) {
      drain(out.read, result.out);
    }
    if (ends[1].revents != 0) {
      drain(err.read, result.err);
    }
    if (ends[2].revents != 0) {
      const ssize_t put = write(in.write, options.input.data() + written, options.input.size() - written);
      written += put > 0 ? static_cast<std::size_t>(put) : 0;
      if (written == options.input.size() || (put < 0 && errno != EAGAIN)) {
        Pipe::closeEnd(in.write);
      }
    }
    if (!ended && waitpid(child, &status, WNOHANG) == child) {
      ended = true;
    } else if (ended && ends[0].revents == 0 && ends[1].revents == 0) {
      break;  // a grandchild holds the pipes open and is silent: what the child said is here
    }
  }
  if (!ended) {
    waitpid(child, &status, 0);
  }
  sigaction(SIGPIPE, &oldPipe, nullptr);
  if (WIFEXITED(status) && !result.timedOut) {
    result.exitStatus = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
  return result;
}

std::string builtProgram(const std::string& name) {
  return std::string(TOLM_TEST_BUILD_DIR) + "/bin/" + name;
}

std::string sourcePath(const std::string& relative) {
  return std::string(TOLM_TEST_SOURCE_DIR) + "/" + relative;
}

}  // namespace halvo::test
