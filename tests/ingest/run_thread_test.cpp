#include "ingest/archive_worker.h"

#include <atomic>

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

}  // namespace
}  // namespace keldane
