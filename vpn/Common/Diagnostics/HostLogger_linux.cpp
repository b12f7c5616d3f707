#include <sys/stat.h>
#include <syslog.h>

#include <string>

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
    // A log of lines shows a line feed as an escape, or breaks the record there.
    syslog(systemLevel(severity, level), "%s", onOneLine(message).c_str());
    return 0;
  }

 private:
  const std::string m_strName;
};

// The journal's library reports success and drops the record when no journal runs, so its socket is
// looked for first.
bool journalListens() {
  struct stat entry {};
  return stat(kJournalSocket, &entry) == 0 && S_ISSOCK(entry.st_mode);
}

}  // namespace

std::unique_ptr<ILogger> makeHostLogger(const char* name) {
  std::unique_ptr<ILogger> logger = journalListens() ? makeJournalLogger(name) : nullptr;
  if (logger == nullptr) {
    logger = std::make_unique<SyslogLogger>(name);
  }
  return logger;
}

}  // namespace halvo
