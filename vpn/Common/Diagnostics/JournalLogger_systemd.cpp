// The record's place is part of its message; the library would add the place of the call below.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include <sys/stat.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>

#include <cstddef>
#include <iterator>
#include <string>

#include "vpn/Common/Diagnostics/BackEnd.h"
#include "vpn/Common/Diagnostics/JournalLogger.h"

namespace halvo {

namespace {

// Its fields are constant and the library serialises the sending, so any thread may log.
class JournalLogger : public ILogger {
 public:
  explicit JournalLogger(const char* name)
      : m_strIdentifier(std::string("SYSLOG_IDENTIFIER=") + name),
        m_strSubsystem(std::string("TOLM_SUBSYSTEM=") + kLogSubsystem) {}

  ResultCode log(std::uint32_t severity, const char* message, const char* messageName,
                 std::uint32_t messageId, int level) override {
    if (message == nullptr) {
      return GLOBAL_ERROR_BAD_PARAMETER;
    }
    const std::string text = std::string("MESSAGE=") + message;
    const std::string priority = "PRIORITY=" + std::to_string(systemLevel(severity, level));
    const std::string rowName =
        std::string("TOLM_MESSAGE_NAME=") + (messageName != nullptr ? messageName : "");
    const std::string rowId = "TOLM_MESSAGE_ID=" + std::to_string(messageId);
    const iovec fields[] = {field(text),    field(priority), field(m_strIdentifier),
                            field(rowName), field(rowId),    field(m_strSubsystem)};
    // The library calls it a success when there is no socket, and fails where nobody listens at it.
    struct stat entry = {};
    if (stat(kJournalSocket, &entry) != 0 ||
        sd_journal_sendv(fields, static_cast<int>(std::size(fields))) < 0) {
      return GLOBAL_ERROR_UNEXPECTED;
    }
    return 0;
  }

 private:
  static iovec field(const std::string& text) { return {const_cast<char*>(text.data()), text.size()}; }

  const std::string m_strIdentifier;
  const std::string m_strSubsystem;
};

}  // namespace

std::unique_ptr<ILogger> makeJournalLogger(const char* name) {
  return std::make_unique<JournalLogger>(name);
}

}  // namespace halvo
