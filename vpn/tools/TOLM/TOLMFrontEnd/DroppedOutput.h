// DroppedOutput: for a scope, what the program and its commands print goes nowhere.
//
// A quiet run prints nothing, and that holds for its commands too, whose output isn't captured by every
// document. The streams themselves are put aside, where the commands don't inherit them.

#pragma once

namespace halvo {

class DroppedOutput {
 public:
  // Each stream that isn't to be dropped stays as it is.
  DroppedOutput(bool output, bool error);
  ~DroppedOutput();
  DroppedOutput(const DroppedOutput&) = delete;
  DroppedOutput& operator=(const DroppedOutput&) = delete;

  // Where standard error was; for what has to be said all the same.
  [[nodiscard]] int errorStream() const;

 private:
  int m_nOutput = -1;
  int m_nError = -1;
};

}  // namespace halvo
