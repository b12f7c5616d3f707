// SilentLog: nothing is logged while one lives.
//
// Looking at documents isn't a run: what the engine's readers log about them meanwhile would mislead
// whoever reads the host's log for the runs. On the main thread, while no other thread logs.

#pragma once

namespace halvo {

class SilentLog {
 public:
  SilentLog();
  ~SilentLog();
  SilentLog(const SilentLog&) = delete;
  SilentLog& operator=(const SilentLog&) = delete;
};

}  // namespace halvo
