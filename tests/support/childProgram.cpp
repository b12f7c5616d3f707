// childProgram: the program that tests start as a child. Its arguments say what it does, one mode
// after the other:
//
//   exit=N            end with status N
//   signal=N          end by signal N, taken back to its default action
//   flood=N           write N bytes to standard output, lines of 63 "x"
//   sleep=MS          sleep so many milliseconds
//   await=PATH        wait until there is a file
//   ignoreTerm        ignore SIGTERM from here on
//   arguments         print the number of arguments, then each on a line of its own as "[TEXT]"
//   closeOut          close standard output, and go on
//   closeIn           close standard input, and go on
//   echo=TEXT         print TEXT and a line feed
//   uid               print the real user and group id: "uid U gid G"
//   cwd               print the working folder: "cwd PATH"
//   env=NAME          print "NAME=VALUE", or "NAME unset"
//   environment       print the whole environment, a line each
//   touch=PATH        make an empty file
//   append=PATH       what would be printed goes to the end of this file from here on
//   pid=PATH          write the own process id into a file
//
// "arguments" ends the reading of modes: whatever stands behind it is
// printed and not carried out. Without arguments it ends with status 0. A single argument may hold
// several modes with commas between them, unless it begins with "arguments".

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

int s_outputDescriptor = STDOUT_FILENO;

void print(const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t put = write(s_outputDescriptor, text.data() + done, text.size() - done);
    if (put <= 0) {
      return;
    }
    done += static_cast<std::size_t>(put);
  }
}

void flood(std::size_t bytes) {
  std::string line(63, 'x');
  line += '\n';
  while (bytes > 0) {
    const std::size_t now = bytes < line.size() ? bytes : line.size();
    print(line.substr(0, now));
    bytes -= now;
  }
}

void sleepMs(long ms) {
  struct timespec rest = {ms / 1000, (ms % 1000) * 1000000};
  while (nanosleep(&rest, &rest) != 0) {
  }
}

void printEnvironment() {
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    print(std::string(*entry) + "\n");
  }
}

void printFolder() {
  char folder[4096];
  print(std::string("cwd ") + (getcwd(folder, sizeof(folder)) != nullptr ? folder : "?") + "\n");
}

void printVariable(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  print(value != nullptr ? name + "=" + value + "\n" : name + " unset\n");
}

[[noreturn]] void endBySignal(int number) {
  signal(number, SIG_DFL);
  raise(number);
  _exit(125);
}

bool perform(const std::string& mode) {
  const std::size_t equals = mode.find('=');
  const std::string word = mode.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : mode.substr(equals + 1);
  if (word == "exit") {
    _exit(std::atoi(value.c_str()));
  } else if (word == "signal") {
    endBySignal(std::atoi(value.c_str()));
  } else if (word == "flood") {
    flood(std::strtoull(value.c_str(), nullptr, 10));
  } else if (word == "sleep") {
    sleepMs(std::atol(value.c_str()));
  } else if (word == "await") {
    while (access(value.c_str(), F_OK) != 0) {
      sleepMs(5);
    }
  } else if (word == "ignoreTerm") {
    signal(SIGTERM, SIG_IGN);
  } else if (word == "closeOut") {
    close(STDOUT_FILENO);
  } else if (word == "closeIn") {
    close(STDIN_FILENO);
  } else if (word == "echo") {
    print(value + "\n");
  } else if (word == "uid") {
    print("uid " + std::to_string(getuid()) + " gid " + std::to_string(getgid()) + "\n");
  } else if (word == "cwd") {
    printFolder();
  } else if (word == "env") {
    printVariable(value);
  } else if (word == "environment") {
    printEnvironment();
  } else if (word == "touch") {
    close(open(value.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  } else if (word == "append") {
    s_outputDescriptor = open(value.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  } else if (word == "pid") {
    s_outputDescriptor = open(value.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    print(std::to_string(getpid()) + "\n");
    close(s_outputDescriptor);
    s_outputDescriptor = STDOUT_FILENO;
  } else {
    return word.empty();
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  alarm(120);  // a test that loses sight of its child doesn't leave it behind
  std::vector<std::string> modes(argv + 1, argv + argc);
  if (modes.size() == 1 && modes[0].rfind("arguments", 0) != 0) {
    std::istringstream text(modes[0]);
    modes.clear();
    for (std::string mode; std::getline(text, mode, ',');) {
      modes.push_back(mode);
    }
  }
  for (const std::string& mode : modes) {
    if (mode.rfind("arguments", 0) == 0) {
      print(std::to_string(argc) + "\n");
      for (int i = 0; i < argc; ++i) {
        print(std::string("[") + argv[i] + "]\n");
      }
      return 0;
    }
    if (!perform(mode)) {
      std::fprintf(stderr, "childProgram: unknown mode %s\n", mode.c_str());
      return 124;
    }
  }
  return 0;
}
