// The two log services and Gestalt: each call is written down for the test.

#include <CoreServices/CoreServices.h>
#include <asl.h>
#include <os/log.h>
#include <os/object.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>

#include "tests/macos/platform/Control.h"

struct __asl_object_s {
  int unused;
};
struct os_log_s {
  int unused;
};
os_log_s _os_log_default;

namespace halvo::test::platform {

namespace {

std::mutex s_lock;
// Never destroyed: where the headers of the log service declare the handle of this image, this compiler,
// which declares it for itself and otherwise, can't note down an object's end.
std::vector<std::string>& calls() {
  static std::vector<std::string>& s_calls = *new std::vector<std::string>;
  return s_calls;
}
// Asked before the static objects of this program stand: the log starts ahead of them.
std::map<std::string, int>& failures() {
  static std::map<std::string, int>& s_failures = *new std::map<std::string, int>;
  return s_failures;
}
std::optional<std::int32_t> s_version[3] = {11, 0, 0};
__asl_object_s s_client;
os_log_s s_log;

std::string formatted(const char* format, std::va_list arguments) {
  char text[4096];
  std::vsnprintf(text, sizeof(text), format, arguments);
  return text;
}

}  // namespace

bool fails(const char* call) {
  const std::lock_guard<std::mutex> guard(s_lock);
  const auto found = failures().find(call);
  if (found == failures().end() || found->second == 0) {
    return false;
  }
  --found->second;
  return true;
}

void failNext(const std::string& call) {
  const std::lock_guard<std::mutex> guard(s_lock);
  ++failures()[call];
}

void setVersion(std::optional<std::int32_t> major, std::optional<std::int32_t> minor,
                std::optional<std::int32_t> patch) {
  s_version[0] = major;
  s_version[1] = minor;
  s_version[2] = patch;
}

void noteLogCall(const std::string& line) {
  const std::lock_guard<std::mutex> guard(s_lock);
  calls().push_back(line);
}

std::vector<std::string> logCalls() {
  const std::lock_guard<std::mutex> guard(s_lock);
  return calls();
}

void reset() {
  setVersion(11, 0, 0);
  setLocale("en", "US");
  setPreferredLanguages({"en"});
  setDirectPointers(true);
  setListReason("");
  const std::lock_guard<std::mutex> guard(s_lock);
  calls().clear();
  failures().clear();
}

}  // namespace halvo::test::platform

using namespace halvo::test::platform;

extern "C" OSErr Gestalt(OSType selector, SInt32* response) {
  const UInt32 place = selector - 0x73797331;
  if (place > 2) {
    std::abort();
  }
  if (!s_version[place].has_value()) {
    return -5550;
  }
  *response = *s_version[place];
  return 0;
}

extern "C" asl_object_t asl_open(const char* ident, const char* facility, uint32_t options) {
  noteLogCall(std::string("asl_open ") + ident + " " + facility + " " + std::to_string(options));
  return fails("asl_open") ? nullptr : &s_client;
}

extern "C" int asl_log(asl_object_t client, asl_object_t message, int level, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  noteLogCall(std::string("asl_log ") + (client == nullptr ? "default" : "client") +
              (message == nullptr ? " " : " message ") + std::to_string(level) + " " + format + " " +
              formatted(format, arguments));
  va_end(arguments);
  return 0;
}

extern "C" void asl_close(asl_object_t client) {
  noteLogCall(client == &s_client ? "asl_close" : "asl_close of another client");
}

extern "C" os_log_t _os_log_create(void* dso, const char* subsystem, const char* category) {
  noteLogCall(std::string("os_log_create ") + (dso != nullptr ? "" : "without image ") + subsystem + " " +
              category);
  return fails("_os_log_create") ? nullptr : &s_log;
}

extern "C" void _os_log_internal(void* dso, os_log_t log, os_log_type_t type, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  // "%{public}s" is this service's own: the braces hold what the reader of the log may see.
  std::string plain = format;
  const std::size_t open = plain.find("{public}");
  if (open != std::string::npos) {
    plain.erase(open, 8);
  }
  noteLogCall(std::string("os_log ") + (dso != nullptr ? "" : "without image ") +
              (log == OS_LOG_DEFAULT ? "default " : "log ") + std::to_string(type) + " " + format + " " +
              formatted(plain.c_str(), arguments));
  va_end(arguments);
}

extern "C" void os_release(void* object) {
  noteLogCall(object == &s_log ? "os_release" : "os_release of another object");
}
