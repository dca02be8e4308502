#include "platform/local_main_queue.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace keldane {
namespace {

using std::chrono::milliseconds;

TEST(LocalMainQueue, RunsTasksOfAllThreadsOnItsOwn) {
  LocalMainQueue queue;
  const std::thread::id own = std::this_thread::get_id();
  bool ran = false;
  queue.callAndWait([&ran] { ran = true; });
  EXPECT_TRUE(ran) << "at once on its own thread";
  std::atomic<bool> finished = false;
  std::vector<int> order;
  std::thread worker([&] {
    for (int i = 0; i < 100; ++i) {
      queue.post([&order, &own, i] {
        EXPECT_EQ(std::this_thread::get_id(), own);
        order.push_back(i);
      });
    }
    queue.callAndWait([&order] { order.push_back(100); });
    finished = true;
  });
  queue.runUntil([&finished] { return finished.load(); }, milliseconds(5));
  worker.join();
  ASSERT_EQ(order.size(), 101U);
  for (int i = 0; i <= 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(LocalMainQueue, KeepsDelayedTasksInOrderOfTheirTimes) {
  LocalMainQueue queue;
  std::vector<int> order;
  queue.postAfter(milliseconds(30), [&order] { order.push_back(3); });
  queue.postAfter(milliseconds(10), [&order] { order.push_back(2); });
  queue.post([&order] { order.push_back(1); });
  queue.runPending();
  EXPECT_EQ(order, std::vector<int>{1});
  queue.runUntil([&order] { return order.size() == 3; }, std::chrono::hours(1));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(LocalMainQueue, LeavesWhatTasksPostToTheNextTurn) {
  LocalMainQueue queue;
  int runs = 0;
  std::function<void()> again = [&] {
    ++runs;
    queue.post(again);
  };
  queue.post(again);
  queue.runPending();
  queue.runPending();
  EXPECT_EQ(runs, 2);
}

}  // namespace
}  // namespace keldane
