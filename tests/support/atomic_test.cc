#include "orvelin/support/atomic.h"

#include <gtest/gtest.h>

#include <atomic>
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
}

TEST(Atomic, AssignmentWhileOtherThreadsUseTheTarget) {
  const std::string longA(100, 'a'), longB(200, 'b');
  Atomic<std::string> target(longA);
  const Atomic<std::string> a(longA), b(longB);
  std::atomic<bool> stop{false};
  std::atomic<int> torn{0};
  std::vector<std::thread> users;
  for (int t = 0; t < 2; ++t)
    users.emplace_back([&] {
      while (!stop) {
        const auto seen = target.value();
        if (seen != longA && seen != longB) ++torn;
        target.update([&](std::string& value) {
          if (value != longA && value != longB) ++torn;
        });
      }
    });
  for (int i = 0; i < 5000; ++i) target = (i % 2 ? b : a);  // ends with b
  stop = true;
  for (auto& user : users) user.join();
  EXPECT_EQ(torn.load(), 0);
  EXPECT_EQ(target.value(), longB);  // the last assignment holds
  EXPECT_EQ(b.value(), longB);       // and its source is untouched
}

}  // namespace
}  // namespace orvelin
