#include "vpn/tools/TOLM/TOLMOffline/WorkerQueue.h"

#include <gtest/gtest.h>

#include <future>
#include <set>
#include <thread>
#include <vector>

namespace halvo {
namespace {

TEST(WorkerQueueTest, BlocksRunInOrderOnOneOtherThread) {
  std::vector<int> order;
  std::set<std::thread::id> threads;
  {
    WorkerQueue queue;
    for (int i = 0; i < 1000; ++i) {
      queue.submit([&order, &threads, i] {
        order.push_back(i);
        threads.insert(std::this_thread::get_id());
      });
    }
  }
  ASSERT_EQ(order.size(), 1000U);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
  }
  EXPECT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST(WorkerQueueTest, SubmitDoesNotWaitForTheBlock) {
  std::promise<void> release;
  std::promise<void> done;
  WorkerQueue queue;

  queue.submit([&release, &done] {
    release.get_future().wait();
    done.set_value();
  });
  release.set_value();  // would never be reached if submit() waited

  done.get_future().wait();
}

TEST(WorkerQueueTest, QueueWithoutBlocksEndsAtOnce) {
  const WorkerQueue queue;
}

TEST(WorkerQueueTest, BlockMaySubmitTheNext) {
  std::promise<int> answer;
  WorkerQueue queue;

  queue.submit([&queue, &answer] { queue.submit([&answer] { answer.set_value(7); }); });

  EXPECT_EQ(answer.get_future().get(), 7);
}

}  // namespace
}  // namespace halvo
