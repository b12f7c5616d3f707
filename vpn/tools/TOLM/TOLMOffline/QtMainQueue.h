// QtMainQueue: the main thread's queue over Qt's event loop.
//
// Blocks run in the order of submit(). They run in slices of some milliseconds, with the loop's other
// events between them: a burst of reports must not keep the window from answering.
//
// Built and destroyed on the main thread, with an application object; submit() may be called on any
// thread.

#pragma once

#include <QtCore/QTimer>
#include <deque>
#include <functional>
#include <mutex>

#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"

namespace halvo {

class QtMainQueue : public IMainQueue {
 public:
  QtMainQueue();
  void submit(std::function<void()> block) override;

 private:
  void runSlice();

  std::mutex m_Lock;
  std::deque<std::function<void()>> m_Blocks;
  QTimer m_Timer;
};

}  // namespace halvo
