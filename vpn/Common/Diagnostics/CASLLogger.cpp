#include "vpn/Common/Diagnostics/CASLLogger.h"

#include <string>

#include "vpn/Common/Diagnostics/BackEnd.h"
#include "vpn/Common/Utility/ManualLock.h"

namespace halvo {

namespace {

constexpr int kErrorLevel = 3;

// Never destroyed: the last logger may go after the other static objects.
CManualLock& classLock() {
  static CManualLock& s_lock = *new CManualLock;
  return s_lock;
}

}  // namespace

CASLLogger::CASLLogger(IAppleSystemLog& host, const char* name) : m_host(host), m_pClient(nullptr) {
  const CManualLockHolder hold(classLock());
  m_pClient = m_host.open(name, kLogSubsystem, 0);
  // A null client stands for the default one from then on, so nothing is lost but the name.
  if (m_pClient == nullptr) {
    m_host.write(nullptr, kErrorLevel, "%s", "Tessarmont failed to create custom log object.");
  }
}

CASLLogger::~CASLLogger() {
  const CManualLockHolder hold(classLock());
  if (m_pClient != nullptr) {
    m_host.close(m_pClient);
  }
}

ResultCode CASLLogger::log(std::uint32_t severity, const char* message, const char* /*messageName*/,
                           std::uint32_t /*messageId*/, int level) {
  // Ahead of the look at the message, and to the end: the old service mixes lines of two threads.
  const CManualLockHolder hold(classLock());
  if (message == nullptr) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const std::string line = onOneLine(message);
  m_host.write(m_pClient, systemLevel(severity, level), "%s", line.c_str());
  return 0;
}

}  // namespace halvo
