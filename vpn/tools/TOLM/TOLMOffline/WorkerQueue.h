// WorkerQueue: one worker thread that runs blocks one after the other, in the order of submit().
//
// The thread starts with the first block. Any thread may submit. The destructor runs what is queued
// and joins; the wizard never gets there, since it ends by _exit().

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace halvo {

class WorkerQueue {
 public:
  WorkerQueue() = default;
  ~WorkerQueue();
  WorkerQueue(const WorkerQueue&) = delete;
  WorkerQueue& operator=(const WorkerQueue&) = delete;

  // Doesn't wait for the block.
  void submit(std::function<void()> block);

 private:
  void work();

  std::mutex m_Lock;
  std::condition_variable m_Wake;
  std::deque<std::function<void()>> m_Blocks;
  bool m_bStop = false;
  std::thread m_Thread;
};

}  // namespace halvo
