// Atomic, the worker pool's helpers, the operation and main queues, the notification centre.

#include "orvelin/support/atomic.h"
#include "orvelin/support/main_queue.h"
#include "orvelin/support/note_subscriber.h"
#include "orvelin/support/notification_center.h"
#include "orvelin/support/operation_queue.h"
#include "orvelin/support/parallel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "common/gate.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using namespace std::chrono_literals;
using testing::Gate;

// Runs `body` with 0, 1 ... count - 1, each on a thread of its own, and waits for them all.
void onThreads(int count, const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(body, t);
  for (auto& thread : threads) thread.join();
}

TEST(Atomic, ReadModifyWriteAndAssignmentFromManyThreads) {
  Atomic<long> counter(0);
  onThreads(4, [&](int) {
    for (int i = 0; i < 2000; ++i) counter.update([](long& value) { ++value; });
  });
  EXPECT_EQ(counter.value(), 8000);  // no update lost

  // Assignment while other threads use the target.
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

TEST(ConcurrentPerform, RunsEveryIterationOnceWithinThePoolWidthNestedCallsTooAndRethrows) {
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
  EXPECT_LE(highest, static_cast<int>(WorkerPool::shared().width()));

  int calls = 0;
  concurrentPerform(0, [&](std::size_t) { ++calls; });
  EXPECT_EQ(calls, 0);

  // Nested calls, more than the pool's width of them, finish.
  std::atomic<int> total{0};
  const std::size_t outer = WorkerPool::shared().width() * 2;
  concurrentPerform(outer, [&](std::size_t) { concurrentPerform(50, [&](std::size_t) { ++total; }); });
  EXPECT_EQ(total.load(), static_cast<int>(outer) * 50);

  // The first error is thrown to the caller once the started iterations have ended.
  std::atomic<int> busy{0};
  EXPECT_THROW(concurrentPerform(100,
                                 [&](std::size_t index) {
                                   ++busy;
                                   if (index == 3) {
                                     --busy;
                                     throw std::runtime_error("three");
                                   }
                                   std::this_thread::sleep_for(200us);
                                   --busy;
                                 }),
               std::runtime_error);
  EXPECT_EQ(busy.load(), 0);  // nothing runs on after the caller got the error
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

TEST(ArrayHelpers, RemoveAndMoveAtIndexes) {
  std::vector<std::string> letters{"a", "b", "c"};
  remove(letters, {0, 2});
  EXPECT_THAT(letters, ElementsAre("b"));

  std::vector<int> numbers{0, 1, 2, 3, 4, 5};
  remove(numbers, {4, 1, 4, 9});  // any order; duplicates and indexes past the end are ignored
  EXPECT_THAT(numbers, ElementsAre(0, 2, 3, 5));

  // A move keeps the block together and returns where it begins.
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
  EXPECT_EQ(queue.operationCount(), 7u);  // three running, four waiting
  EXPECT_FALSE(queue.isCurrentQueue());
  gate.open();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue.operationCount(), 0u);
  EXPECT_EQ(gate.highest(), 3);  // never more, before the gate opened or after
}

// An object whose destructor asks the queue something, as captured state may.
struct AsksQueueOnDestruction {
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

TEST(MainQueue, OwnThreadRunsBlocksInOrderOneAtATimeAndSyncRunsThereOrInline) {
  MainQueue queue;
  queue.startOnOwnThread();
  queue.startOnOwnThread();  // a second start does nothing
  EXPECT_TRUE(queue.isRunningOnOwnThread());
  EXPECT_FALSE(queue.isMainThread());
  std::vector<int> order;  // touched on the main thread only
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  onThreads(3, [&](int p) {
    for (int i = 0; i < 100; ++i)
      queue.async([&, p, i] {
        if (++running > 1) overlapped = true;
        if (p == 0) order.push_back(i);
        --running;
      });
  });
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

TEST(MainQueue, WithNobodyPumpingSyncBlocksStillRunOneAtATimeThenTheHostPumps) {
  MainQueue queue;  // no thread pumps it: sync() runs blocks on their callers' threads
  // Many threads, many blocks: never two at once, none lost.
  int counter = 0;  // touched by blocks only
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  onThreads(4, [&](int) {
    for (int i = 0; i < 500; ++i)
      queue.sync([&] {
        if (++running > 1) overlapped = true;
        ++counter;
        std::this_thread::yield();
        --running;
      });
  });
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

  // The host pumps it itself from here on.
  order.clear();
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
  worker = std::thread([&] {
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

TEST(NotificationCenter, PostCallsMatchingObserversInOrderOnThePostingThread) {
  NotificationCenter center;
  std::vector<std::string> calls;
  std::thread::id callThread;
  center.addObserver("A", nullptr, nullptr, [&](const Notification& note) {
    calls.push_back("first " + note.name);
    callThread = std::this_thread::get_id();
  });
  center.addObserver(std::nullopt, nullptr, nullptr, [&](const Notification& note) { calls.push_back("any " + note.name); });
  center.addObserver("B", nullptr, nullptr, [&](const Notification& note) { calls.push_back("b " + note.name); });
  center.addObserver("A", nullptr, nullptr, [&](const Notification& note) { calls.push_back("second " + note.name); });

  center.post("A");
  EXPECT_THAT(calls, ElementsAre("first A", "any A", "second A"));
  EXPECT_EQ(callThread, std::this_thread::get_id());
  calls.clear();
  center.post("C");
  EXPECT_THAT(calls, ElementsAre("any C"));
  EXPECT_EQ(center.observerCount(), 4u);
}

TEST(NotificationCenter, RemovedObserversAreNotCalledNorTheirDeliveriesNotYetBegun) {
  NotificationCenter center;
  int calls = 0;
  auto token = center.addObserver("N", nullptr, nullptr, [&](const Notification&) { ++calls; });
  center.post("N");
  center.removeObserver(token);
  center.removeObserver(token);  // twice is harmless
  center.post("N");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(center.observerCount(), 0u);

  OperationQueue queue(1);
  Gate gate;
  queue.addOperation(gate.body());  // holds the queue until opened
  std::atomic<int> queued{0};
  token = center.addObserver("Q", nullptr, &queue, [&](const Notification&) { ++queued; });
  center.post("Q");
  center.removeObserver(token);
  gate.open();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queued.load(), 0);

  // An observer may remove itself, add others and post from inside its block.
  NotificationObserverToken self;
  std::vector<std::string> seen;
  self = center.addObserver("Outer", nullptr, nullptr, [&](const Notification&) {
    seen.push_back("outer");
    center.removeObserver(self);
    center.addObserver("Inner", nullptr, nullptr, [&](const Notification&) { seen.push_back("inner"); });
    center.post("Inner");
  });
  center.post("Outer");
  center.post("Outer");
  EXPECT_THAT(seen, ElementsAre("outer", "inner"));
}

TEST(NotificationCenter, ConcurrentPostsAndRegistrations) {
  NotificationCenter center;
  std::atomic<int> calls{0};
  center.addObserver("Hit", nullptr, nullptr, [&](const Notification&) { ++calls; });
  onThreads(4, [&](int) {
    for (int i = 0; i < 200; ++i) {
      auto token = center.addObserver("Other", nullptr, nullptr, [](const Notification&) {});
      center.post("Hit");
      center.removeObserver(token);
    }
  });
  EXPECT_EQ(calls.load(), 800);
  EXPECT_EQ(center.observerCount(), 1u);
}

TEST(NoteSubscriber, DeliversToTheOwnerWhileBothLiveFromItsSenderOnItsQueue) {
  NotificationCenter center;
  using Received = std::vector<std::string>;  // the owner: what it received
  auto owner = std::make_shared<Received>();
  {
    NoteSubscriber subscriber(center);
    subscriber.name = "Ping";
    EXPECT_FALSE(subscriber.isObserving());
    subscriber.subscribe(owner, [](Received& self, const Notification& note) { self.push_back(note.name); });
    EXPECT_TRUE(subscriber.isObserving());
    EXPECT_EQ(center.observerCount(), 1u);
    center.post("Ping");
    center.post("Pong");
    EXPECT_EQ(*owner, Received{"Ping"});
  }
  EXPECT_EQ(center.observerCount(), 0u);  // the subscriber's end removes the observation
  center.post("Ping");
  EXPECT_EQ(owner->size(), 1u);

  // One that filters on its sender, delivers on its queue, and once its owner is released
  // ignores the notifications.
  OperationQueue queue(1);
  auto sender = std::make_shared<int>(1);
  auto other = std::make_shared<int>(1);
  Received received;  // touched on the queue only
  bool onQueue = true;
  NoteSubscriber filtering(center);
  filtering.name = "Changed";
  filtering.object = sender;
  filtering.queue = &queue;
  filtering.subscribe(owner, [&](Received&, const Notification& note) {
    onQueue = onQueue && queue.isCurrentQueue();
    received.push_back(note.object == sender.get() ? "sender" : "other");
  });
  center.post("Changed", other.get());
  center.post("Changed", sender.get());
  queue.waitUntilAllOperationsAreFinished();
  owner.reset();
  center.post("Changed", sender.get());
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(received, Received{"sender"});
  EXPECT_TRUE(onQueue);
}

}  // namespace
}  // namespace orvelin
