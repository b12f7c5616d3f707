#include <syslog.h>

#include <new>
#include <string>
#include <utility>

#include "vpn/Common/Diagnostics/BackEnd.h"
#include "vpn/Common/Diagnostics/HostLogger.h"
#include "vpn/Common/Diagnostics/JournalLogger.h"

namespace halvo {

namespace {

// syslog(3) keeps one identity for the whole process and serialises by itself.
class SyslogLogger : public ILogger {
 public:
  // The library keeps the pointer that openlog() gets, so the name lives here.
  explicit SyslogLogger(const char* name) : m_strName(name) { openlog(m_strName.c_str(), LOG_PID, LOG_USER); }
  ~SyslogLogger() override { closelog(); }

  SyslogLogger(const SyslogLogger&) = delete;
  SyslogLogger& operator=(const SyslogLogger&) = delete;

  ResultCode log(std::uint32_t severity, const char* message, const char* /*messageName*/,
                 std::uint32_t /*messageId*/, int level) override {
    if (message == nullptr) {
      return GLOBAL_ERROR_BAD_PARAMETER;
    }
    // A log of lines shows a line feed as an escape, or breaks the record there. Without memory for the copy
    // that is better than no record.
    std::string line;
    try {
      line = onOneLine(message);
      message = line.c_str();
    } catch (const std::bad_alloc&) {
    }
    syslog(systemLevel(severity, level), "%s", message);
    return 0;
  }

 private:
  const std::string m_strName;
};

// Writes to the journal, and to syslog what no journal takes: a socket may lie there with nobody listening,
// and a journal may end and begin again while this process lives. Each record asks anew.
class JournalOrSyslogLogger : public ILogger {
 public:
  JournalOrSyslogLogger(std::unique_ptr<ILogger> journal, const char* name)
      : m_pJournal(std::move(journal)), m_syslog(name) {}

  ResultCode log(std::uint32_t severity, const char* message, const char* messageName,
                 std::uint32_t messageId, int level) override {
    ResultCode rc = GLOBAL_ERROR_UNEXPECTED;
    try {
      rc = m_pJournal->log(severity, message, messageName, messageId, level);
    } catch (const std::bad_alloc&) {
      // The journal's fields take memory; syslog can do without.
    }
    return rc == GLOBAL_ERROR_UNEXPECTED ? m_syslog.log(severity, message, messageName, messageId, level)
                                         : rc;
  }

 private:
  const std::unique_ptr<ILogger> m_pJournal;
  SyslogLogger m_syslog;
};

}  // namespace

std::unique_ptr<ILogger> makeHostLogger(const char* name) {
  return std::make_unique<JournalOrSyslogLogger>(makeJournalLogger(name), name);
}

}  // namespace halvo
