#include "orvelin/support/note_subscriber.h"
#include "orvelin/support/notification_center.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "common/gate.h"
#include "orvelin/support/operation_queue.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;

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

TEST(NotificationCenter, RemovedObserversAreNotCalled) {
  NotificationCenter center;
  int calls = 0;
  auto token = center.addObserver("N", nullptr, nullptr, [&](const Notification&) { ++calls; });
  center.post("N");
  center.removeObserver(token);
  center.removeObserver(token);  // twice is harmless
  center.post("N");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(center.observerCount(), 0u);

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

TEST(NotificationCenter, RemovalDropsDeliveriesNotYetBegun) {
  NotificationCenter center;
  OperationQueue queue(1);
  testing::Gate gate;
  queue.addOperation(gate.body());  // holds the queue until opened
  std::atomic<int> calls{0};
  auto token = center.addObserver("Q", nullptr, &queue, [&](const Notification&) { ++calls; });
  center.post("Q");
  center.removeObserver(token);
  gate.open();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(calls.load(), 0);
}

TEST(NotificationCenter, ConcurrentPostsAndRegistrations) {
  NotificationCenter center;
  std::atomic<int> calls{0};
  center.addObserver("Hit", nullptr, nullptr, [&](const Notification&) { ++calls; });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        auto token = center.addObserver("Other", nullptr, nullptr, [](const Notification&) {});
        center.post("Hit");
        center.removeObserver(token);
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(calls.load(), 800);
  EXPECT_EQ(center.observerCount(), 1u);
}

struct Owner {
  std::vector<std::string> received;
};

TEST(NoteSubscriber, DeliversToTheOwnerWhileBothLive) {
  NotificationCenter center;
  auto owner = std::make_shared<Owner>();
  {
    NoteSubscriber subscriber(center);
    subscriber.name = "Ping";
    EXPECT_FALSE(subscriber.isObserving());
    subscriber.subscribe(owner, [](Owner& self, const Notification& note) { self.received.push_back(note.name); });
    EXPECT_TRUE(subscriber.isObserving());
    EXPECT_EQ(center.observerCount(), 1u);
    center.post("Ping");
    center.post("Pong");
    EXPECT_EQ(owner->received, std::vector<std::string>{"Ping"});
  }
  EXPECT_EQ(center.observerCount(), 0u);  // the subscriber's end removes the observation
  center.post("Ping");
  EXPECT_EQ(owner->received.size(), 1u);

  // Once the owner is released, its subscriber ignores the notifications.
  NoteSubscriber subscriber(center);
  subscriber.name = "Ping";
  auto calls = std::make_shared<int>(0);
  subscriber.subscribe(owner, [calls](Owner&, const Notification&) { ++*calls; });
  center.post("Ping");
  owner.reset();
  center.post("Ping");
  EXPECT_EQ(*calls, 1);
}

TEST(NoteSubscriber, FiltersOnItsObjectAndDeliversOnItsQueue) {
  NotificationCenter center;
  OperationQueue queue(1);
  auto sender = std::make_shared<int>(1);
  auto other = std::make_shared<int>(1);
  auto owner = std::make_shared<Owner>();
  NoteSubscriber subscriber(center);
  subscriber.name = "Changed";
  subscriber.object = sender;
  subscriber.queue = &queue;
  bool onQueue = true;
  subscriber.subscribe(owner, [&](Owner& self, const Notification& note) {
    onQueue = onQueue && queue.isCurrentQueue();
    self.received.push_back(note.object == sender.get() ? "sender" : "other");
  });
  center.post("Changed", other.get());
  center.post("Changed", sender.get());
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(owner->received, std::vector<std::string>{"sender"});
  EXPECT_TRUE(onQueue);
}

}  // namespace
}  // namespace orvelin
