#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "orvelin/support/notification_center.h"

namespace orvelin {

// An observation of one notification name that ends when the subscriber is destroyed.
// The owner given to subscribe() is held weakly: once it is gone, notifications are ignored.
//
// Configure (name, queue, object) and subscribe from one thread; the observation itself may
// fire on any thread (the posting thread, or `queue`).
class NoteSubscriber {
 public:
  // REQUIRES: `center` outlives the subscriber.
  explicit NoteSubscriber(NotificationCenter& center = NotificationCenter::defaultCenter()) : center_(center) {}
  NoteSubscriber(const NoteSubscriber&) = delete;
  NoteSubscriber& operator=(const NoteSubscriber&) = delete;
  // Ends the observation: no post that starts afterwards reaches the block.
  ~NoteSubscriber();

  NotificationCenter& center() const { return center_; }

  // What to observe. Set before subscribe().
  std::optional<std::string> name;
  // Where to deliver; null delivers on the posting thread. REQUIRES: outlives the observation.
  Executor* queue = nullptr;
  // The sender to filter on, by identity, held weakly. It is read once, by subscribe(): a sender
  // that is gone by then (or none) lets every sender through.
  std::weak_ptr<const void> object;

  // Begins the observation: `block` gets the owner and each notification. Stops the process
  // with "Subcriber is already observing." when already observing, and with "Notification name
  // has not been set." without a name.
  template <typename Owner>
  void subscribe(const std::shared_ptr<Owner>& owner,
                 std::type_identity_t<std::function<void(Owner&, const Notification&)>> block) {
    std::weak_ptr<Owner> weakOwner = owner;
    subscribeErased([weakOwner, block = std::move(block)](const Notification& note) {
      if (auto strong = weakOwner.lock()) block(*strong, note);
    });
  }

  // True from subscribe() until the subscriber is destroyed.
  bool isObserving() const { return !observer_.expired(); }

 private:
  void subscribeErased(NotificationCenter::Block block);

  NotificationCenter& center_;
  std::weak_ptr<NotificationObservation> observer_;  // the token of the active observation
};

}  // namespace orvelin
