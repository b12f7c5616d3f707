#include "vpn/tools/TOLM/TOLMOffline/WorkerQueue.h"

#include <utility>

namespace halvo {

WorkerQueue::~WorkerQueue() {
  {
    const std::lock_guard<std::mutex> guard(m_Lock);
    m_bStop = true;
  }
  m_Wake.notify_one();
  if (m_Thread.joinable()) {
    m_Thread.join();
  }
}

void WorkerQueue::submit(std::function<void()> block) {
  {
    const std::lock_guard<std::mutex> guard(m_Lock);
    m_Blocks.push_back(std::move(block));
    if (!m_Thread.joinable()) {
      m_Thread = std::thread([this] { work(); });
    }
  }
  m_Wake.notify_one();
}

void WorkerQueue::work() {
  for (;;) {
    std::function<void()> block;
    {
      std::unique_lock<std::mutex> guard(m_Lock);
      m_Wake.wait(guard, [this] { return m_bStop || !m_Blocks.empty(); });
      // A stop is obeyed once the queue is empty: blocks that were submitted are run.
      if (m_Blocks.empty()) {
        return;
      }
      block = std::move(m_Blocks.front());
      m_Blocks.pop_front();
    }
    // Without the lock: a block may submit the next one.
    block();
  }
}

}  // namespace halvo
