// Progress: the one channel by which a run tells the outside what it does.
//
// Below reportProgress() sit two outlets, of which exactly one is in use: a listener object (the
// wizard) or the text console. The engine calls the outside in no other way, so its logic runs with
// any listener or with none.
//
// The state here is one instance in the process, without a lock: the engine's thread alone reports,
// and listener, queue and console mode are set before a run begins.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

// What a listener offers. updateMsg() and updateProgress() come on the main queue, in the order of
// the reports; tolmFinished() comes directly on the engine's thread.
//
// A listener that a std::shared_ptr owns is kept alive by every report that waits in the main queue, until
// it has been shown; any other has to outlive the queue.
class IProgressListener : public std::enable_shared_from_this<IProgressListener> {
 public:
  virtual ~IProgressListener() = default;
  // Shows the text (UTF-8) on the progress screen and repaints at once.
  virtual void updateMsg(const std::string& message) = 0;
  // Sets the progress bar, 0 to 100, and repaints at once.
  virtual void updateProgress(const std::uint32_t* percent) = 0;
  // Stores the run's result. The screen changes when the run's block ends, not here.
  virtual void tolmFinished(ResultCode code) = 0;
};

// The queue of the user interface's thread: runs blocks one after the other, in the order of submit().
class IMainQueue {
 public:
  virtual ~IMainQueue() = default;
  // Doesn't wait for the block; may be called on any thread.
  virtual void submit(std::function<void()> block) = 0;
};

// The last non-zero percentage and the last non-empty text that went through reportProgress() in
// listener mode.
struct ProgressState {
  std::uint32_t percent = 0;
  std::string message;
};

// Two bytes; the first, when not 0, selects the console outlet. The second is stored and read by nothing.
struct ConsoleMode {
  std::uint8_t console = 0;
  std::uint8_t second = 0;
};

// Reports to the outlet in use. `code` TOLMOFFLINE_ERROR_PROCESSING marks progress; every other value,
// 0 included, is the finish of a run with that result. Without a listener and without console mode
// the report is dropped.
void reportProgress(std::uint32_t percent, const std::string& message, std::uint64_t code);

// The listener isn't owned and may be null.
void setProgressListener(IProgressListener* listener);
IProgressListener* getProgressListener();

// The queue that progress blocks go to; not owned. Null, as at first, runs them at once on the thread
// of the report.
void setMainQueue(IMainQueue* queue);

// The state that the external command action takes as the base of its own progress.
const ProgressState& getProgressState();

// Stores the low byte of `value` as the first byte of console mode and the next byte as the second.
void setConsoleMode(std::uint32_t value);
ConsoleMode& getConsoleMode();

}  // namespace halvo
