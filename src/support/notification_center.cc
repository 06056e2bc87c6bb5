#include "orvelin/support/notification_center.h"

#include <algorithm>
#include <atomic>

namespace orvelin {

class NotificationObservation {
 public:
  NotificationObservation(std::optional<std::string> name, const void* object, Executor* executor,
                          NotificationCenter::Block block)
      : name(std::move(name)), object(object), executor(executor), block(std::move(block)) {}

  bool matches(const Notification& note) const {
    return (!name || *name == note.name) && (!object || object == note.object);
  }

  const std::optional<std::string> name;
  const void* const object;
  Executor* const executor;
  const NotificationCenter::Block block;
  std::atomic<bool> removed{false};
};

NotificationCenter& NotificationCenter::defaultCenter() {
  static auto* center = new NotificationCenter;  // never deleted: observers may post at exit
  return *center;
}

NotificationObserverToken NotificationCenter::addObserver(std::optional<std::string> name, const void* object,
                                                          Executor* executor, Block block) {
  auto token = std::make_shared<NotificationObservation>(std::move(name), object, executor, std::move(block));
  std::lock_guard lock(mutex_);
  observers_.push_back(token);
  return token;
}

void NotificationCenter::removeObserver(const NotificationObserverToken& token) {
  if (!token) return;
  token->removed = true;
  std::lock_guard lock(mutex_);
  std::erase(observers_, token);
}

void NotificationCenter::post(const Notification& notification) {
  std::vector<NotificationObserverToken> targets;
  {
    std::lock_guard lock(mutex_);
    for (const auto& observer : observers_)
      if (observer->matches(notification)) targets.push_back(observer);
  }
  for (const auto& observer : targets) {
    if (observer->removed) continue;
    if (observer->executor) {
      observer->executor->async([observer, notification] {
        if (!observer->removed) observer->block(notification);
      });
    } else {
      observer->block(notification);
    }
  }
}

void NotificationCenter::post(std::string name, const void* object, NotificationUserInfo userInfo) {
  post(Notification{std::move(name), object, std::move(userInfo)});
}

std::size_t NotificationCenter::observerCount() const {
  std::lock_guard lock(mutex_);
  return observers_.size();
}

}  // namespace orvelin
