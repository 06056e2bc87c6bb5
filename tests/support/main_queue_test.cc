#include "orvelin/support/main_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using namespace std::chrono_literals;

TEST(MainQueue, OwnThreadRunsBlocksInOrderOneAtATimeAndSyncRunsThereOrInline) {
  MainQueue queue;
  // Before any thread pumps the queue there is no main thread: sync runs at once.
  bool ranEarly = false;
  queue.sync([&] { ranEarly = true; });
  EXPECT_TRUE(ranEarly);

  queue.startOnOwnThread();
  queue.startOnOwnThread();  // a second start does nothing
  EXPECT_TRUE(queue.isRunningOnOwnThread());
  EXPECT_FALSE(queue.isMainThread());
  std::vector<int> order;  // touched on the main thread only
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  std::vector<std::thread> producers;
  for (int p = 0; p < 3; ++p)
    producers.emplace_back([&, p] {
      for (int i = 0; i < 100; ++i)
        queue.async([&, p, i] {
          if (++running > 1) overlapped = true;
          if (p == 0) order.push_back(i);
          --running;
        });
    });
  for (auto& producer : producers) producer.join();
  queue.waitUntilIdle();
  EXPECT_FALSE(overlapped.load());
  ASSERT_EQ(order.size(), 100u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));  // each producer's blocks keep their order

  std::thread::id blockThread;
  bool onMain = false;
  queue.sync([&] {
    blockThread = std::this_thread::get_id();
    onMain = queue.isMainThread();
    // sync from the main thread runs inline instead of waiting for itself.
    std::vector<int> inner;
    queue.sync([&] { inner.push_back(1); });
    inner.push_back(2);
    EXPECT_THAT(inner, ElementsAre(1, 2));
  });
  EXPECT_NE(blockThread, std::this_thread::get_id());
  EXPECT_TRUE(onMain);
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("from the main thread"); }), std::runtime_error);
}

TEST(MainQueue, HostPumping) {
  MainQueue queue;
  std::vector<int> order;
  queue.async([&] {
    order.push_back(1);
    queue.async([&] { order.push_back(3); });  // added while draining: runs in the same drain
  });
  queue.async([&] { order.push_back(2); });
  EXPECT_EQ(queue.drain(), 3u);
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_EQ(queue.drain(), 0u);

  // The thread that pumped stays the main thread between pumps.
  EXPECT_TRUE(queue.isMainThread());
  bool inline_ = false;
  queue.sync([&] { inline_ = true; });
  EXPECT_TRUE(inline_);

  // A worker's sync waits until the host pumps again.
  std::atomic<bool> workerDone{false};
  std::thread worker([&] {
    queue.sync([&] { EXPECT_TRUE(queue.isMainThread()); });
    workerDone = true;
  });
  EXPECT_TRUE(queue.runUntil([&] { return workerDone.load(); }, 30s));
  worker.join();

  EXPECT_FALSE(queue.runUntil([] { return false; }, 30ms));

  // run() goes on until a block stops it.
  queue.async([&] { order.push_back(4); });
  queue.async([&] { queue.stop(); });
  queue.async([&] { order.push_back(5); });
  queue.run();
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(queue.drain(), 1u);
}

TEST(MainQueue, WithNobodyPumpingSyncBlocksStillRunOneAtATime) {
  MainQueue queue;  // no thread pumps it: sync() runs blocks on their callers' threads
  // Many threads, many blocks: never two at once, none lost.
  int counter = 0;  // touched by blocks only
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i)
        queue.sync([&] {
          if (++running > 1) overlapped = true;
          ++counter;
          std::this_thread::yield();
          --running;
        });
    });
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(overlapped.load());
  EXPECT_EQ(counter, 2000);

  // A block may call sync() again on its own thread, and may throw to its caller.
  std::vector<int> order;
  queue.sync([&] {
    order.push_back(1);
    queue.sync([&] { order.push_back(2); });
    order.push_back(3);
  });
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("inline"); }), std::runtime_error);
  EXPECT_THROW(queue.sync([&] { queue.sync([] { throw std::invalid_argument("nested"); }); }),
               std::invalid_argument);
  bool after = false;
  queue.sync([&] { after = true; });  // the queue is free again after the exceptions
  EXPECT_TRUE(after);

  // A host that begins to pump meanwhile waits for the block that sync runs elsewhere.
  std::atomic<bool> inBlock{false}, release{false};
  std::atomic<bool> pumpedDuringBlock{false};
  std::thread worker([&] {
    queue.sync([&] {
      inBlock = true;
      while (!release) std::this_thread::yield();
      std::this_thread::sleep_for(20ms);  // a pump that does not wait would run its block now
      inBlock = false;
    });
  });
  while (!inBlock) std::this_thread::yield();
  queue.async([&] { pumpedDuringBlock = inBlock.load(); });
  release = true;
  EXPECT_EQ(queue.drain(), 1u);
  worker.join();
  EXPECT_FALSE(pumpedDuringBlock.load());
}

}  // namespace
}  // namespace orvelin
