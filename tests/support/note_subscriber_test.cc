#include "orvelin/support/note_subscriber.h"

#include <gtest/gtest.h>

#include "orvelin/support/operation_queue.h"

namespace orvelin {
namespace {

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
