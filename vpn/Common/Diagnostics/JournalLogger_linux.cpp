#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include "vpn/Common/Diagnostics/BackEnd.h"
#include "vpn/Common/Diagnostics/JournalLogger.h"

namespace halvo {

namespace {

// Adds one field: a value without line feeds on a line with its name; another behind its length, as eight
// bytes with the lowest first, which keeps lines of a message from being taken for fields.
void addField(std::string& record, const char* name, const std::string& value) {
  record += name;
  if (value.find('\n') == std::string::npos) {
    record += '=';
  } else {
    record += '\n';
    for (unsigned shift = 0; shift < 64; shift += 8) {
      record += static_cast<char>(std::uint64_t{value.size()} >> shift & 0xffU);
    }
  }
  record += value;
  record += '\n';
}

// The journal's library could do this, and brings five others with it: linked or opened, they were a quarter
// of every start. What it speaks is told for others to speak, and stays as it is.
class JournalLogger : public ILogger {
 public:
  explicit JournalLogger(const char* name) : m_strIdentifier(name) {}
  ~JournalLogger() override {
    if (const int descriptor = m_nSocket.load(); descriptor >= 0) {
      close(descriptor);
    }
  }

  JournalLogger(const JournalLogger&) = delete;
  JournalLogger& operator=(const JournalLogger&) = delete;

  ResultCode log(std::uint32_t severity, const char* message, const char* messageName,
                 std::uint32_t messageId, int level) override {
    if (message == nullptr) {
      return GLOBAL_ERROR_BAD_PARAMETER;
    }
    std::string record;
    addField(record, "MESSAGE", message);
    addField(record, "PRIORITY", std::to_string(systemLevel(severity, level)));
    addField(record, "SYSLOG_IDENTIFIER", m_strIdentifier);
    addField(record, "TOLM_MESSAGE_NAME", messageName != nullptr ? messageName : "");
    addField(record, "TOLM_MESSAGE_ID", std::to_string(messageId));
    addField(record, "TOLM_SUBSYSTEM", kLogSubsystem);
    return send(record) ? 0 : GLOBAL_ERROR_UNEXPECTED;
  }

 private:
  // Never connected: a journal that has ended and begun again is found by its path.
  [[nodiscard]] bool send(const std::string& record) {
    sockaddr_un journal = {};
    journal.sun_family = AF_UNIX;
    static_assert(sizeof(kJournalSocket) <= sizeof(journal.sun_path));
    std::memcpy(journal.sun_path, kJournalSocket, sizeof(kJournalSocket));
    const int descriptor = socketOfProcess();
    ssize_t sent = -1;
    do {
      sent = sendto(descriptor, record.data(), record.size(), MSG_NOSIGNAL,
                    reinterpret_cast<const sockaddr*>(&journal), sizeof(journal));
    } while (sent < 0 && errno == EINTR);
    return sent >= 0;
  }

  // Kept from the first record on: a run that has used up its descriptors can still say so. Two threads that
  // get here at once keep the same.
  int socketOfProcess() {
    int descriptor = m_nSocket.load();
    if (descriptor < 0) {
      const int made = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
      if (made < 0 || m_nSocket.compare_exchange_strong(descriptor, made)) {
        return made;
      }
      close(made);
    }
    return descriptor;
  }

  const std::string m_strIdentifier;
  std::atomic<int> m_nSocket{-1};
};

}  // namespace

std::unique_ptr<ILogger> makeJournalLogger(const char* name) {
  return std::make_unique<JournalLogger>(name);
}

}  // namespace halvo
