#include "vpn/Common/Diagnostics/CAppleUnifiedLoggingLogger.h"

#include <cstddef>
#include <iterator>
#include <string>

#include "vpn/Common/Diagnostics/BackEnd.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

namespace {

// Without "public" the unified log hides the texts of its arguments.
constexpr const char* kFormat = "%{public}s";
// The longest piece of a message in one record, not counting the marks.
constexpr std::size_t kChunkSize = 1000;
constexpr const char* kContinued = "<-- ";
constexpr const char* kContinues = " -->";

constexpr std::uint8_t kTypeOfSeverity[] = {kUnifiedFault,   kUnifiedFault,   kUnifiedFault,  kUnifiedError,
                                            kUnifiedDefault, kUnifiedDefault, kUnifiedDefault};

std::uint8_t recordType(std::uint32_t severity, int level) {
  if (severity < std::size(kTypeOfSeverity)) {
    return kTypeOfSeverity[severity];
  }
  return level == kLogError ? kUnifiedError : kUnifiedDefault;
}

}  // namespace

CAppleUnifiedLoggingLogger::CAppleUnifiedLoggingLogger(IUnifiedLog& host, const char* name)
    : m_host(host), m_pLog(host.create(kLogSubsystem, name)) {
  if (m_pLog == nullptr) {
    m_pLog = m_host.defaultLog();
    m_host.write(m_pLog, kUnifiedFault, kFormat, "Tessarmont failed to create custom log object.");
  }
}

CAppleUnifiedLoggingLogger::~CAppleUnifiedLoggingLogger() {
  // The default log is the system's own.
  if (m_pLog != m_host.defaultLog()) {
    m_host.release(m_pLog);
  }
}

ResultCode CAppleUnifiedLoggingLogger::log(std::uint32_t severity, const char* message,
                                           const char* /*messageName*/, std::uint32_t /*messageId*/,
                                           int level) {
  if (message == nullptr) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const std::string text = message;
  const std::uint8_t type = recordType(severity, level);
  std::size_t position = 0;
  bool continued = false;
  while (position < text.size()) {
    std::string chunk = continued ? kContinued : "";
    // A rest of exactly the size is the last piece too, and gets no mark.
    if (position + kChunkSize >= text.size()) {
      chunk += text.substr(position);
      position = text.size();
    } else {
      std::string piece = text.substr(position, kChunkSize);
      // Any line feed wins over a later blank.
      std::size_t cut = piece.rfind('\n');
      if (cut == std::string::npos) {
        cut = piece.rfind(' ');
      }
      if (cut != std::string::npos) {
        // The separator itself is dropped.
        piece.resize(cut);
        position += cut + 1;
      } else {
        position += kChunkSize;
      }
      chunk += piece + kContinues;
      continued = true;
    }
    // Only now: the line feeds have said where to cut.
    m_host.write(m_pLog, type, kFormat, onOneLine(chunk).c_str());
  }
  return 0;
}

}  // namespace halvo
