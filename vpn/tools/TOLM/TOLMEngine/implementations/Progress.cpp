#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"

#include <cstdio>
#include <utility>

#include "vpn/Common/Utility/PlainText.h"

namespace halvo {

namespace {

// One channel in the process, never torn down: a listener may still be told something late.
struct Channel {
  ProgressState state;
  IProgressListener* pListener = nullptr;
  IMainQueue* pMainQueue = nullptr;
  ConsoleMode consoleMode;
};

Channel& channel() {
  static Channel* const s_pChannel = new Channel;
  return *s_pChannel;
}

void reportToConsole(std::uint32_t percent, const std::string& message, bool isProgress) {
  if (!isProgress) {
    std::puts("\r");
    // On a line of its own: the progress line in front of it has no end.
    std::printf("%s", withoutControls(message).c_str());
    std::puts("\r");
    return;
  }
  if (percent == 0 || message.empty()) {
    return;
  }
  // No line end: the next report overwrites the line.
  std::putchar(13);
  std::printf("%-50.50s %3d%%", withoutControls(message).c_str(), static_cast<int>(percent));
  std::fflush(stdout);
}

void sendProgress(IProgressListener* listener, const std::string& message, std::uint32_t percent) {
  // The block holds the text, and holds the listener alive where that is possible: it may run long after
  // the report, when nobody else knows the listener any more.
  auto block = [keepAlive = listener->weak_from_this().lock(), listener, message, percent] {
    listener->updateMsg(message);
    listener->updateProgress(&percent);
  };
  if (channel().pMainQueue != nullptr) {
    channel().pMainQueue->submit(std::move(block));
  } else {
    block();
  }
}

}  // namespace

void reportProgress(std::uint32_t percent, const std::string& message, std::uint64_t code) {
  const bool isProgress = code == TOLMOFFLINE_ERROR_PROCESSING;
  if (channel().consoleMode.console != 0) {
    reportToConsole(percent, message, isProgress);
    return;
  }
  IProgressListener* const listener = channel().pListener;
  if (listener == nullptr) {
    return;
  }
  if (percent != 0) {
    channel().state.percent = percent;
  }
  if (!message.empty()) {
    channel().state.message = message;
  }
  if (!isProgress) {
    // At once and not by the queue: the code has to lie there before the block that shows the end runs.
    listener->tolmFinished(static_cast<ResultCode>(code));
    return;
  }
  sendProgress(listener, message, percent);
}

void setProgressListener(IProgressListener* listener) {
  channel().pListener = listener;
}

IProgressListener* getProgressListener() {
  return channel().pListener;
}

void setMainQueue(IMainQueue* queue) {
  channel().pMainQueue = queue;
}

const ProgressState& getProgressState() {
  return channel().state;
}

void setConsoleMode(std::uint32_t value) {
  channel().consoleMode.console = static_cast<std::uint8_t>(value & 0xff);
  channel().consoleMode.second = static_cast<std::uint8_t>((value >> 8) & 0xff);
}

ConsoleMode& getConsoleMode() {
  return channel().consoleMode;
}

}  // namespace halvo
