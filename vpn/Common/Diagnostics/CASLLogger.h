// CASLLogger: writes the log records to the system log of macOS before 10.12.
//
// The host's operations stand behind a small interface, so that the logic is the same, and is tested,
// on every host. Constructor, log() and destructor hold one lock that all objects of the class share;
// a thread that holds it may log again.

#pragma once

#include <cstdint>

#include "vpn/Common/Diagnostics/ILogger.h"

namespace halvo {

// What CASLLogger needs of the host.
class IAppleSystemLog {
 public:
  // A handle of the host; null stands for the default client.
  using Client = void*;

  // asl_open. Null means failure.
  virtual Client open(const char* ident, const char* facility, std::uint32_t options) = 0;
  // asl_log without a message object: one line at a level from 0 to 7, with one text for its format.
  virtual void write(Client client, int level, const char* format, const char* text) = 0;
  // asl_close.
  virtual void close(Client client) = 0;

 protected:
  ~IAppleSystemLog() = default;
};

class CASLLogger : public ILogger {
 public:
  // Opens a client under `name`. Where the host refuses, says so in the log through the default
  // client, which takes the later lines too. `host` must outlive the logger.
  CASLLogger(IAppleSystemLog& host, const char* name);
  ~CASLLogger() override;

  CASLLogger(const CASLLogger&) = delete;
  CASLLogger& operator=(const CASLLogger&) = delete;

  // Writes the message on one line; an empty one as an empty line. Name and id are ignored.
  [[nodiscard]] ResultCode log(std::uint32_t severity, const char* message, const char* messageName,
                               std::uint32_t messageId, int level) override;

 private:
  IAppleSystemLog& m_host;
  IAppleSystemLog::Client m_pClient;
};

}  // namespace halvo
