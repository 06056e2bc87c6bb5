#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "orvelin/support/notification_center.h"

namespace orvelin {

// An observation of one notification name that ends when the subscriber is destroyed.
// The owner is held weakly: once it is gone, notifications are ignored.
// Not safe for concurrent configuration; the observation itself may fire on any thread.
class NoteSubscriber {
 public:
  explicit NoteSubscriber(NotificationCenter& center = NotificationCenter::defaultCenter()) : center_(center) {}
  NoteSubscriber(const NoteSubscriber&) = delete;
  NoteSubscriber& operator=(const NoteSubscriber&) = delete;
  ~NoteSubscriber();

  // What to observe. Set before subscribe().
  std::optional<std::string> name;
  // Where to deliver; null delivers on the posting thread.
  Executor* queue = nullptr;
  // The sender to filter on, by identity; null accepts every sender.
  const void* object = nullptr;

  // Begins the observation. Stops the process with "Subcriber is already observing." when
  // already observing, and with "Notification name has not been set." without a name.
  template <typename Owner>
  void subscribe(const std::shared_ptr<Owner>& owner, std::function<void(Owner&, const Notification&)> block) {
    std::weak_ptr<Owner> weakOwner = owner;
    subscribeErased([weakOwner, block = std::move(block)](const Notification& note) {
      if (auto strong = weakOwner.lock()) block(*strong, note);
    });
  }

  bool isObserving() const { return !observer_.expired(); }

 private:
  void subscribeErased(NotificationCenter::Block block);

  NotificationCenter& center_;
  std::weak_ptr<NotificationObservation> observer_;
};

}  // namespace orvelin
