// Runs a part of a test in a forked child, for what would change the whole process: identity, limits,
// priority, a death.
//
// The child's log records come back, those of its own forked children too, whatever they do in the
// end. The part tells its outcome by the exit status; EXPECT_ in the child reaches nobody.

#pragma once

#include <functional>
#include <string>

#include "tests/support/LogRecorder.h"

namespace halvo::test {

struct ForkedResult {
  int exitStatus = -1;  // -1: killed by a signal or by the time limit
  int signal = 0;
  bool timedOut = false;
  std::vector<LogRecord> records;

  [[nodiscard]] bool hasReturnCode(int level, const std::string& invokedFunction, std::uint32_t code) const;
  // The names in the "Invoked Function" field of all return-code logs, in order, joined by blanks.
  [[nodiscard]] std::string invokedFunctions() const;
  [[nodiscard]] std::string dump() const;
};

// Forks, has `part` run in the child and ends the child with its result. No LogRecorder may be alive.
// The child is killed after `timeoutSeconds`, and with it what it started and didn't end.
ForkedResult runForked(const std::function<int()>& part, int timeoutSeconds = 100);

// For the part: gives root rights up for good and becomes "nobody"; nothing where the caller isn't root.
void dropToNobody();

}  // namespace halvo::test
