#include "orvelin/support/atomic.h"
#include "orvelin/support/parallel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using namespace std::chrono_literals;

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

TEST(ConcurrentPerform, RunsEveryIterationOnceWithinThePoolWidth) {
  constexpr std::size_t count = 200;
  std::vector<std::atomic<int>> runs(count);
  std::mutex mutex;
  int running = 0, highest = 0;  // the bodies running at once, the most there ever were
  concurrentPerform(count, [&](std::size_t index) {
    {
      std::lock_guard lock(mutex);
      highest = std::max(highest, ++running);
    }
    std::this_thread::sleep_for(100us);
    ++runs[index];
    std::lock_guard lock(mutex);
    --running;
  });
  for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(runs[i].load(), 1) << i;
  EXPECT_GE(WorkerPool::shared().width(), 1u);
  EXPECT_LE(highest, static_cast<int>(WorkerPool::shared().width()));

  int calls = 0;
  concurrentPerform(0, [&](std::size_t) { ++calls; });
  EXPECT_EQ(calls, 0);
}

TEST(ConcurrentPerform, NestedCallsFinish) {
  std::atomic<int> total{0};
  const std::size_t outer = WorkerPool::shared().width() * 2;
  concurrentPerform(outer, [&](std::size_t) { concurrentPerform(50, [&](std::size_t) { ++total; }); });
  EXPECT_EQ(total.load(), static_cast<int>(outer) * 50);
}

TEST(ConcurrentPerform, RethrowsTheFirstErrorAfterTheStartedIterationsEnd) {
  std::atomic<int> running{0};
  EXPECT_THROW(concurrentPerform(100,
                                 [&](std::size_t index) {
                                   ++running;
                                   if (index == 3) {
                                     --running;
                                     throw std::runtime_error("three");
                                   }
                                   std::this_thread::sleep_for(200us);
                                   --running;
                                 }),
               std::runtime_error);
  EXPECT_EQ(running.load(), 0);  // nothing runs on after the caller got the error
}

TEST(ParallelMap, KeepsTheInputOrderOverAThousandElements) {
  std::vector<int> input(1000);
  for (int i = 0; i < 1000; ++i) input[static_cast<std::size_t>(i)] = i;
  // Early elements take longest, so they finish last.
  const auto output = pMap(input, [](int value) {
    std::this_thread::sleep_for(std::chrono::microseconds((999 - value) % 13 * 20));
    return std::to_string(value * 2);
  });
  ASSERT_EQ(output.size(), 1000u);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(output[static_cast<std::size_t>(i)], std::to_string(i * 2));
  EXPECT_TRUE(pMap(std::vector<int>{}, [](int value) { return value; }).empty());
}

TEST(ArrayHelpers, RemoveAtIndexes) {
  std::vector<std::string> letters{"a", "b", "c"};
  remove(letters, {0, 2});
  EXPECT_THAT(letters, ElementsAre("b"));

  std::vector<int> numbers{0, 1, 2, 3, 4, 5};
  remove(numbers, {4, 1, 4, 9});  // any order; duplicates and indexes past the end are ignored
  EXPECT_THAT(numbers, ElementsAre(0, 2, 3, 5));
}

TEST(ArrayHelpers, MoveKeepsTheBlockTogetherAndReturnsWhereItBegins) {
  struct Move {
    const char* name;
    std::vector<std::size_t> indexes;
    std::size_t destination;
    std::size_t begins;
    std::vector<std::string> after;
  };
  for (const auto& move : std::vector<Move>{
           {"two down", {0, 1}, 3, 1, {"c", "a", "b", "d"}},
           {"the last to the front", {3}, 0, 0, {"d", "a", "b", "c"}},
           {"one index below the destination, one above", {1, 3}, 2, 1, {"a", "b", "d", "c"}},
           {"to the end", {0, 2}, 4, 2, {"b", "d", "a", "c"}},
           {"nothing", {}, 1, 1, {"a", "b", "c", "d"}},
       }) {
    std::vector<std::string> letters{"a", "b", "c", "d"};
    EXPECT_EQ(moveFrom(letters, move.indexes, move.destination), move.begins) << move.name;
    EXPECT_EQ(letters, move.after) << move.name;
  }
}

}  // namespace
}  // namespace orvelin
