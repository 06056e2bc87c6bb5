#include "orvelin/support/note_subscriber.h"

#include "orvelin/support/fatal.h"

namespace orvelin {

NoteSubscriber::~NoteSubscriber() {
  if (auto token = observer_.lock()) center_.removeObserver(token);
}

void NoteSubscriber::subscribeErased(NotificationCenter::Block block) {
  if (!observer_.expired()) ORVFatal("Subcriber is already observing.");
  if (!name) ORVFatal("Notification name has not been set.");
  observer_ = center_.addObserver(name, object, queue, std::move(block));
}

}  // namespace orvelin
