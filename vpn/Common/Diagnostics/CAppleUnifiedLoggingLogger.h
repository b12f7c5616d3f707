// CAppleUnifiedLoggingLogger: writes the log records to the unified log of macOS 10.12 and later.
//
// The host's operations stand behind a small interface, so that the logic is the same, and is tested,
// on every host. log() takes no lock and keeps nothing between calls.

#pragma once

#include <cstdint>

#include "vpn/Common/Diagnostics/ILogger.h"

namespace halvo {

// The record types of the unified log that are in use.
inline constexpr std::uint8_t kUnifiedDefault = 0;
inline constexpr std::uint8_t kUnifiedError = 16;
inline constexpr std::uint8_t kUnifiedFault = 17;

// What CAppleUnifiedLoggingLogger needs of the host.
class IUnifiedLog {
 public:
  // A log object of the host.
  using Log = void*;

  // _os_log_create. Null means failure.
  virtual Log create(const char* subsystem, const char* category) = 0;
  // _os_log_default: the default log object, which is never released.
  virtual Log defaultLog() = 0;
  // _os_log_internal: one record of a type, with one text for its format.
  virtual void write(Log log, std::uint8_t type, const char* format, const char* text) = 0;
  // os_release.
  virtual void release(Log log) = 0;

 protected:
  ~IUnifiedLog() = default;
};

class CAppleUnifiedLoggingLogger : public ILogger {
 public:
  // Makes a log object with `name` as its category. Where the host refuses, writes that as a fault to
  // the default log object, which takes the later records too. `host` must outlive the logger.
  CAppleUnifiedLoggingLogger(IUnifiedLog& host, const char* name);
  ~CAppleUnifiedLoggingLogger() override;

  CAppleUnifiedLoggingLogger(const CAppleUnifiedLoggingLogger&) = delete;
  CAppleUnifiedLoggingLogger& operator=(const CAppleUnifiedLoggingLogger&) = delete;

  // Writes the message in records of at most 1,000 characters and the marks of a continuation: " -->"
  // where more follows, "<-- " where it goes on. A long message is parted at a line feed, else at a
  // blank, else where the 1,000 end; line feeds become blanks. An empty message writes nothing. Name
  // and id are ignored.
  [[nodiscard]] ResultCode log(std::uint32_t severity, const char* message, const char* messageName,
                               std::uint32_t messageId, int level) override;

 private:
  IUnifiedLog& m_host;
  IUnifiedLog::Log m_pLog;
};

}  // namespace halvo
