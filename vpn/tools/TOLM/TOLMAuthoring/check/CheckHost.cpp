#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckHost.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ProgramSearch.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

extern char** environ;

namespace halvo {

namespace {

constexpr int kPatience = 10'000;  // milliseconds; reading a line takes one
constexpr std::size_t kMaxComplaint = 1000;

// The first line of what comes out of the pipe, until its end or until patience does.
std::string readFirstLine(int descriptor) {
  std::string text;
  char buffer[512];
  struct pollfd look = {descriptor, POLLIN, 0};
  while (text.size() < kMaxComplaint && poll(&look, 1, kPatience) > 0) {
    const ssize_t got = read(descriptor, buffer, sizeof(buffer));
    if (got <= 0) {
      break;
    }
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text.substr(0, text.find('\n'));
}

// "sh: 1: Syntax error: ..." without the shell's own name for itself and the line.
std::string withoutShellName(const std::string& line) {
  const std::size_t at = line.find("yntax error");
  return at == std::string::npos || at == 0 ? line : "s" + line.substr(at);
}

}  // namespace

bool CheckHost::hasProgram(const std::string& program) {
  const auto known = m_Programs.find(program);
  return known != m_Programs.end() ? known->second : (m_Programs[program] = findsProgram(program));
}

std::string CheckHost::shellComplaint(const std::string& commandLine) {
  if (++m_nShellLines > kMaxShellLines) {
    return "";
  }
  int ends[2] = {-1, -1};
  // Not pipe2(), which isn't everywhere: no other thread starts a program here.
  if (pipe(ends) != 0) {
    return "";
  }
  static_cast<void>(fcntl(ends[0], F_SETFD, FD_CLOEXEC));
  static_cast<void>(fcntl(ends[1], F_SETFD, FD_CLOEXEC));
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  // The run's own shell, as popen starts it; "--" because a command line may begin with a hyphen.
  std::string text = commandLine;
  char shell[] = "sh";
  char options[] = "-nc";
  char end[] = "--";
  char* const arguments[] = {shell, options, end, text.data(), nullptr};
  pid_t child = -1;
  const int started = posix_spawn(&child, "/bin/sh", &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::string complaint;
  if (started != 0) {
    // Only the command line itself can be at fault here.
    complaint = started == E2BIG ? "the command line is too long" : "";
  } else {
    complaint = withoutShellName(readFirstLine(ends[0]));
    kill(child, SIGKILL);  // has ended by itself, unless it ran out of patience
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
  }
  close(ends[0]);
  return complaint;
}

bool CheckHost::isSpecialFile(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

std::vector<std::string> CheckHost::namesIn(const std::string& folder, const std::string& pattern) {
  std::vector<std::string> names;
  const FolderHolder stream(opendir(folder.c_str()));
  if (stream == nullptr) {
    return names;
  }
  const std::string plain = CStringUtils::toLower(pattern);
  std::size_t seen = 0;
  while (const dirent* entry = readdir(stream.get())) {
    const std::string name = entry->d_name;
    if (++seen > kMaxNames) {
      break;
    }
    if (!isDotName(name) && helperUtil::wildcardMatch(plain.c_str(), CStringUtils::toLower(name).c_str())) {
      names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace halvo
