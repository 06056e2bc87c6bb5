#include "orvelin/support/operation_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "common/gate.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;

using testing::Gate;

TEST(OperationQueue, WidthOneRunsInOrderOneAtATimeAndItsWaitIncludesOperationsAddedMeanwhile) {
  OperationQueue queue(1, "serial");
  std::vector<int> order;
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  std::function<void(int)> add = [&](int i) {
    queue.addOperation([&, i] {
      if (++running > 1) overlapped = true;
      order.push_back(i);
      if (i == 199) add(200);  // added from inside an operation: the wait includes it
      --running;
    });
  };
  for (int i = 0; i < 200; ++i) add(i);
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue.operationCount(), 0u);
  EXPECT_FALSE(overlapped.load());
  ASSERT_EQ(order.size(), 201u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(OperationQueue, RunsUpToItsWidthAtOnce) {
  OperationQueue queue(3);
  Gate gate;
  for (int i = 0; i < 7; ++i) queue.addOperation(gate.body());
  ASSERT_TRUE(gate.awaitWaiting(3));
  EXPECT_EQ(gate.highest(), 3);
  EXPECT_EQ(queue.operationCount(), 7u);  // three running, four waiting
  EXPECT_FALSE(queue.isCurrentQueue());
  gate.open();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue.operationCount(), 0u);
  EXPECT_EQ(gate.highest(), 3);
}

// An object whose destructor asks the queue something, as captured state may.
struct AsksQueueOnDestruction {
  AsksQueueOnDestruction(OperationQueue* queue, std::atomic<int>* destroyed) : queue(queue), destroyed(destroyed) {}
  AsksQueueOnDestruction(const AsksQueueOnDestruction&) = delete;
  OperationQueue* queue;
  std::atomic<int>* destroyed;
  ~AsksQueueOnDestruction() {
    (void)queue->operationCount();
    ++*destroyed;
  }
};

// The operations dropped, and those that ran, release their captures outside the queue's lock.
TEST(OperationQueue, CancelDropsWhatHasNotBegun) {
  std::atomic<int> destroyed{0};
  OperationQueue queue(1);
  Gate gate;
  std::vector<int> ran;  // written by the queue's one thread
  queue.addOperation([&] {
    gate.wait();
    ran.push_back(0);
  });
  ASSERT_TRUE(gate.awaitWaiting(1));
  for (int i = 1; i <= 5; ++i) queue.addOperation([&, i] { ran.push_back(i); });
  auto probe = std::make_shared<AsksQueueOnDestruction>(&queue, &destroyed);
  queue.addOperation([probe] {});
  probe.reset();
  EXPECT_EQ(queue.operationCount(), 7u);
  queue.cancelAllOperations();
  EXPECT_EQ(destroyed.load(), 1);
  EXPECT_EQ(queue.operationCount(), 1u);  // the running one goes on
  auto second = std::make_shared<AsksQueueOnDestruction>(&queue, &destroyed);
  queue.addOperation([&, second] { ran.push_back(6); });  // added after the cancel: runs
  second.reset();
  gate.open();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_THAT(ran, ElementsAre(0, 6));
  EXPECT_EQ(destroyed.load(), 2);
}

TEST(OperationQueue, DestructionWaitsForRunningAndDropsWaiting) {
  std::atomic<int> finished{0}, started{0};
  Gate gate;
  std::thread opener;
  {
    OperationQueue queue(1);
    queue.addOperation([&] {
      ++started;
      gate.wait();
      ++finished;
    });
    ASSERT_TRUE(gate.awaitWaiting(1));
    queue.addOperation([&] { ++started; });
    // The running operation ends only once the destructor has dropped the waiting one.
    opener = std::thread([&] {
      while (queue.operationCount() > 1) std::this_thread::yield();
      gate.open();
    });
  }
  opener.join();
  EXPECT_EQ(finished.load(), 1);
  EXPECT_EQ(started.load(), 1);
}

}  // namespace
}  // namespace orvelin
