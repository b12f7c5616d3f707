#include "tests/support/ForkedCase.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace halvo::test {

namespace {

constexpr char kFieldEnd = '\x1f';
constexpr char kRecordEnd = '\x1e';

// Appends each record to a file that all the children hold open: one write, so that records of
// several processes stay whole.
class FileLogger : public ILogger {
 public:
  explicit FileLogger(int descriptor) : m_nDescriptor(descriptor) {}

  ResultCode log(std::uint32_t severity, const char* message, const char* messageName,
                 std::uint32_t messageId, int level) override {
    const std::string record = std::to_string(severity) + kFieldEnd + message + kFieldEnd + messageName +
                               kFieldEnd + std::to_string(messageId) + kFieldEnd + std::to_string(level) +
                               kRecordEnd;
    return write(m_nDescriptor, record.data(), record.size()) == static_cast<ssize_t>(record.size())
               ? 0
               : GLOBAL_ERROR_UNEXPECTED;
  }

 private:
  int m_nDescriptor;
};

std::string takeField(const std::string& text, std::size_t& position, char end) {
  const std::size_t stop = text.find(end, position);
  std::string field = text.substr(position, stop - position);
  position = stop + 1;
  return field;
}

std::vector<LogRecord> readRecords(int descriptor) {
  std::string text;
  char buffer[65536];
  lseek(descriptor, 0, SEEK_SET);
  for (ssize_t got = 0; (got = read(descriptor, buffer, sizeof(buffer))) > 0;) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  std::vector<LogRecord> records;
  for (std::size_t position = 0; position < text.size();) {
    LogRecord record;
    record.severity = static_cast<std::uint32_t>(std::stoul(takeField(text, position, kFieldEnd)));
    record.message = takeField(text, position, kFieldEnd);
    record.messageName = takeField(text, position, kFieldEnd);
    record.messageId = static_cast<std::uint32_t>(std::stoul(takeField(text, position, kFieldEnd)));
    record.level = std::stoi(takeField(text, position, kRecordEnd));
    records.push_back(record);
  }
  return records;
}

}  // namespace

ForkedResult runForked(const std::function<int()>& part, int timeoutSeconds) {
  char name[] = "/tmp/forked_XXXXXX";
  const int file = mkostemp(name, O_APPEND | O_CLOEXEC);
  if (file < 0) {
    throw std::runtime_error("mkostemp failed");
  }
  unlink(name);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    close(file);
    throw std::runtime_error("fork failed");
  }
  if (child == 0) {
    setpgid(0, 0);
    while (!releaseLogging()) {
    }
    ResultCode result = 0;
    acquireLogging(result, "test", new FileLogger(file));
    _exit(part());
  }
  setpgid(child, child);

  ForkedResult result;
  int status = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() >= deadline) {
      result.timedOut = true;
      kill(-child, SIGKILL);
      waitpid(child, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  if (WIFEXITED(status)) {
    result.exitStatus = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
  result.records = readRecords(file);
  close(file);
  return result;
}

void dropToNobody() {
  if (geteuid() != 0) {
    return;
  }
  const passwd* entry = getpwnam("nobody");
  if (entry == nullptr || setgroups(0, nullptr) != 0 || setgid(entry->pw_gid) != 0 ||
      setuid(entry->pw_uid) != 0) {
    std::fprintf(stderr, "can't become nobody\n");
    _exit(120);
  }
}

bool ForkedResult::hasReturnCode(int level, const std::string& invokedFunction, std::uint32_t code) const {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "(0x%.8X)", code);
  for (const LogRecord& record : records) {
    if (record.messageId == MID_DEBUG_RETURN_CODE && record.level == level &&
        record.field("Invoked Function") == invokedFunction &&
        record.field("Return Code").find(hex) != std::string::npos) {
      return true;
    }
  }
  return false;
}

std::string ForkedResult::invokedFunctions() const {
  std::string names;
  for (const LogRecord& record : records) {
    if (record.messageId == MID_DEBUG_RETURN_CODE) {
      names += (names.empty() ? "" : " ") + record.field("Invoked Function");
    }
  }
  return names;
}

std::string ForkedResult::dump() const {
  std::string all = "exit " + std::to_string(exitStatus) + ", signal " + std::to_string(signal) +
                    (timedOut ? ", timed out" : "") + "\n";
  for (const LogRecord& record : records) {
    all += "[";
    all += static_cast<char>(record.level);
    all += "] " + record.message + "\n--\n";
  }
  return all;
}

}  // namespace halvo::test
