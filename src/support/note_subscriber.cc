#include "orvelin/support/note_subscriber.h"

#include "orvelin/support/fatal.h"

namespace orvelin {

NoteSubscriber::~NoteSubscriber() {
  if (auto token = observer_.lock()) center_.removeObserver(token);
}

void NoteSubscriber::subscribeErased(NotificationCenter::Block block) {
  if (!observer_.expired()) ORVFatal("Subcriber is already observing.");
  if (!name) ORVFatal("Notification name has not been set.");
  // The sender is loaded strongly for the call only: the centre filters by its address.
  const std::shared_ptr<const void> sender = object.lock();
  observer_ = center_.addObserver(name, sender.get(), queue, std::move(block));
}

}  // namespace orvelin
