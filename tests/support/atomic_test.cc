#include "orvelin/support/atomic.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace orvelin {
namespace {

TEST(Atomic, ReadModifyWriteFromManyThreadsLosesNothing) {
  Atomic<long> counter(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) counter.update([](long& value) { ++value; });
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter.value(), 8000);
  counter.setValue(-1);
  EXPECT_EQ(counter.value(), -1);
}

TEST(Atomic, CopiesKeepTheirOwnValueButShareTheSemaphore) {
  Atomic<std::string> original("a");
  Atomic<std::string> copy = original;
  copy.setValue("b");
  EXPECT_EQ(original.value(), "a");
  EXPECT_EQ(copy.value(), "b");

  // While the original's semaphore is held, the copy cannot be read.
  std::atomic<bool> copyRead{false};
  std::thread reader;
  original.update([&](std::string& value) {
    reader = std::thread([&] {
      (void)copy.value();
      copyRead = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(copyRead.load());
    value = "c";
  });
  reader.join();
  EXPECT_TRUE(copyRead.load());
  EXPECT_EQ(original.value(), "c");
}

}  // namespace
}  // namespace orvelin
