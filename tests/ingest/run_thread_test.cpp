#include "ingest/archive_worker.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "platform/local_main_queue.h"

namespace keldane {
namespace {

TEST(RunThread, WaitsForTheMainThread) {
  LocalMainQueue queue;
  RunThread pass(queue);
  int value = 0;  // written by both, one after the other
  std::atomic<bool> done = false;
  pass.start([&] {
    value = 1;
    EXPECT_TRUE(pass.onMainThread([&] { value += 1; }));
    value += 1;
    done = true;
  });
  queue.runUntil([&] { return done.load(); }, std::chrono::milliseconds(1));
  EXPECT_EQ(value, 3);
}

TEST(RunThread, LetsAWorkerGoThatWaitsForAMainThreadThatIsAboutToEnd) {
  LocalMainQueue queue;
  bool called = false;
  std::atomic<bool> answered = true;
  {
    RunThread pass(queue);
    std::atomic<bool> asked = false;
    pass.start([&] {
      asked = true;
      answered = pass.onMainThread([&] { called = true; });
    });
    while (!asked) std::this_thread::yield();
  }
  EXPECT_FALSE(answered);
  queue.runPending();  // the task is still in the queue, and does nothing any more
  EXPECT_FALSE(called);
}

}  // namespace
}  // namespace keldane
