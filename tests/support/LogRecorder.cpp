#include "tests/support/LogRecorder.h"

#include <cstdio>
#include <mutex>

namespace halvo::test {

struct LogRecorder::State {
  mutable std::mutex mutex;
  std::vector<LogRecord> records;
};

class LogRecorder::Logger : public ILogger {
 public:
  explicit Logger(State* state) : m_pState(state) {}

  ResultCode log(std::uint32_t severity, const char* message, const char* messageName,
                 std::uint32_t messageId, int level) override {
    if (message == nullptr) {
      return GLOBAL_ERROR_BAD_PARAMETER;
    }
    std::lock_guard<std::mutex> hold(m_pState->mutex);
    m_pState->records.push_back({severity, message, messageName, messageId, level});
    return 0;
  }

 private:
  State* m_pState;
};

LogRecorder::LogRecorder() : m_pState(std::make_unique<State>()) {
  while (!releaseLogging()) {
  }
  ResultCode result = 0;
  acquireLogging(result, "test", new Logger(m_pState.get()));
}

LogRecorder::~LogRecorder() {
  while (!releaseLogging()) {
  }
  ResultCode result = 0;
  acquireLogging(result, "tmtolmui", nullptr);
}

std::vector<LogRecord> LogRecorder::records() const {
  std::lock_guard<std::mutex> hold(m_pState->mutex);
  return m_pState->records;
}

void LogRecorder::clear() {
  std::lock_guard<std::mutex> hold(m_pState->mutex);
  m_pState->records.clear();
}

std::size_t LogRecorder::count(const std::string& part) const {
  std::size_t found = 0;
  for (const LogRecord& record : records()) {
    found += record.message.find(part) != std::string::npos ? 1 : 0;
  }
  return found;
}

bool LogRecorder::has(int level, const std::string& part) const {
  for (const LogRecord& record : records()) {
    if (record.level == level && record.message.find(part) != std::string::npos) {
      return true;
    }
  }
  return false;
}

bool LogRecorder::hasReturnCode(int level, const std::string& invokedFunction, std::uint32_t code) const {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "(0x%.8X)", code);
  for (const LogRecord& record : records()) {
    if (record.messageId == MID_DEBUG_RETURN_CODE && record.level == level &&
        record.field("Invoked Function") == invokedFunction &&
        record.field("Return Code").find(hex) != std::string::npos) {
      return true;
    }
  }
  return false;
}

std::string LogRecorder::dump() const {
  std::string all;
  for (const LogRecord& record : records()) {
    all += "[";
    all += static_cast<char>(record.level);
    all += "] " + record.message + "\n--\n";
  }
  return all;
}

std::string LogRecord::field(const std::string& label) const {
  const std::string head = label + ": ";
  std::size_t start = message.rfind(head, 0) == 0 ? 0 : message.find("\n" + head);
  if (start == std::string::npos) {
    return "";
  }
  start = message.find(head, start) + head.size();
  return message.substr(start, message.find('\n', start) - start);
}

std::string LogRecord::text() const {
  // Function, File and Line; a return-code log has three lines more before the text.
  int lines = messageId == MID_DEBUG_RETURN_CODE ? 6 : 3;
  std::size_t start = 0;
  while (lines-- > 0) {
    start = message.find('\n', start);
    if (start == std::string::npos) {
      return "";
    }
    ++start;
  }
  return message.substr(start);
}

}  // namespace halvo::test
