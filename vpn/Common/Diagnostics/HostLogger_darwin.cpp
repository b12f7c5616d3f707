#include <asl.h>
#include <os/log.h>
#include <os/object.h>

#include "vpn/Common/Diagnostics/AppleLoggerChoice.h"
#include "vpn/Common/Diagnostics/HostLogger.h"

// What the log service needs to find the format text in this image.
extern "C" struct mach_header __dso_handle;

namespace halvo {

namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

class AppleSystemLog final : public IAppleSystemLog {
 public:
  Client open(const char* ident, const char* facility, std::uint32_t options) override {
    return asl_open(ident, facility, options);
  }
  void write(Client client, int level, const char* format, const char* text) override {
    asl_log(static_cast<aslclient>(client), nullptr, level, format, text);
  }
  void close(Client client) override { asl_close(static_cast<aslclient>(client)); }
};

class UnifiedLog final : public IUnifiedLog {
 public:
  Log create(const char* subsystem, const char* category) override {
    return _os_log_create(&__dso_handle, subsystem, category);
  }
  Log defaultLog() override { return const_cast<void*>(static_cast<const void*>(OS_LOG_DEFAULT)); }
  void write(Log log, std::uint8_t type, const char* format, const char* text) override {
    _os_log_internal(&__dso_handle, static_cast<os_log_t>(log), static_cast<os_log_type_t>(type), format,
                     text);
  }
  void release(Log log) override { os_release(log); }
};

#pragma GCC diagnostic pop

}  // namespace

std::unique_ptr<ILogger> makeHostLogger(const char* name) {
  // The logger borrows one of them and may live until behind the last static object: they have nothing to
  // destroy.
  static AppleSystemLog s_systemLog;
  static UnifiedLog s_unifiedLog;
  // Anew and not by the version that is kept for the wizard: the two have readings of their own.
  OSInfo system;
  getOSInfo(system);
  return makeAppleLogger(system, s_systemLog, s_unifiedLog, name);
}

}  // namespace halvo
