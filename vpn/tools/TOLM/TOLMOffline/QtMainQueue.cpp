#include "vpn/tools/TOLM/TOLMOffline/QtMainQueue.h"

#include <QtCore/QElapsedTimer>
#include <utility>

namespace halvo {

namespace {

// For so long blocks may hold up the window's own events: a press is answered within a moment.
constexpr qint64 kSliceMilliseconds = 10;

}  // namespace

QtMainQueue::QtMainQueue() {
  m_Timer.setSingleShot(true);
  m_Timer.setInterval(0);
  QObject::connect(&m_Timer, &QTimer::timeout, &m_Timer, [this] { runSlice(); });
}

void QtMainQueue::submit(std::function<void()> block) {
  bool wake = false;
  {
    const std::lock_guard<std::mutex> guard(m_Lock);
    wake = m_Blocks.empty();
    m_Blocks.push_back(std::move(block));
  }
  // A timer may be started on its own thread only. An event by itself would not do: the loop takes all
  // posted events, also new ones, before it looks at the window system again.
  if (wake) {
    QMetaObject::invokeMethod(
        &m_Timer, [this] { m_Timer.start(); }, Qt::QueuedConnection);
  }
}

void QtMainQueue::runSlice() {
  QElapsedTimer elapsed;
  elapsed.start();
  do {
    std::function<void()> block;
    {
      const std::lock_guard<std::mutex> guard(m_Lock);
      if (m_Blocks.empty()) {
        return;
      }
      block = std::move(m_Blocks.front());
      m_Blocks.pop_front();
    }
    block();
  } while (elapsed.elapsed() < kSliceMilliseconds);
  m_Timer.start();
}

}  // namespace halvo
