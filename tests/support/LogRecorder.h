// LogRecorder: takes the place of the installed logger for a test and keeps what was logged.
//
// Built on the stack of a test or a fixture; one at a time. Logging goes back to the host's logger
// when it is destroyed. Records may arrive on any thread.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo::test {

struct LogRecord {
  std::uint32_t severity;
  std::string message;  // the finished text, with its "Function: ..." lines
  std::string messageName;
  std::uint32_t messageId;
  int level;

  // The value behind "LABEL: " on the line that starts with it, for instance field("Invoked Function").
  [[nodiscard]] std::string field(const std::string& label) const;
  // What stands behind the heading lines: the caller's own text.
  [[nodiscard]] std::string text() const;
};

class LogRecorder {
 public:
  LogRecorder();
  ~LogRecorder();
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;

  [[nodiscard]] std::vector<LogRecord> records() const;
  void clear();

  // Records of any kind whose finished text holds `part`.
  [[nodiscard]] std::size_t count(const std::string& part) const;
  // Whether a record of `level` holds `part`.
  [[nodiscard]] bool has(int level, const std::string& part) const;
  // Whether a return-code log of `level` names `invokedFunction` and `code`.
  [[nodiscard]] bool hasReturnCode(int level, const std::string& invokedFunction, std::uint32_t code) const;
  // All records as one text, for failure messages.
  [[nodiscard]] std::string dump() const;

 private:
  class Logger;
  struct State;
  std::unique_ptr<State> m_pState;  // outlives the logger, which the front-end owns
};

}  // namespace halvo::test
