#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "orvelin/support/executor.h"

namespace orvelin {

// User information of a notification: a map from string keys to values of any type.
using NotificationUserInfo = std::map<std::string, std::any>;

// One posted notification. `object` is the sender, compared by identity; it may be null.
struct Notification {
  std::string name;
  const void* object = nullptr;
  NotificationUserInfo userInfo;

  // The value under `key` as a T; absent when missing or of another type.
  template <typename T>
  std::optional<T> userInfoValue(const std::string& key) const {
    auto found = userInfo.find(key);
    if (found == userInfo.end()) return std::nullopt;
    if (const T* value = std::any_cast<T>(&found->second)) return *value;
    return std::nullopt;
  }
};

// The token of one observation. The centre holds it until removeObserver(); an observer that
// keeps only a weak reference to it (NoteSubscriber does) sees it expire at removal.
class NotificationObservation;
using NotificationObserverToken = std::shared_ptr<NotificationObservation>;

// Delivers notifications to observers.
//
// post() calls, synchronously on the posting thread and in the order they were added, the
// blocks of the observers whose name (absent: every name) and object (null: every sender)
// match. An observer added with an executor instead gets the notification scheduled on that
// executor, and post() does not wait for it.
//
// Safe for concurrent use by multiple threads. An observer may add and remove observers, and
// post, from inside its block. Once removeObserver() has returned, the block is not called by
// posts that start afterwards.
class NotificationCenter {
 public:
  using Block = std::function<void(const Notification&)>;

  // The process's centre. Belongs to the library and is never deleted.
  static NotificationCenter& defaultCenter();

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // Registers `block` for the notifications named `name` (absent: every name) sent by `object`
  // (null: every sender), delivered on `executor` (null: on the posting thread). The returned
  // token stands for the observation until removeObserver().
  // REQUIRES: `executor`, when given, outlives the observation.
  NotificationObserverToken addObserver(std::optional<std::string> name, const void* object,
                                        Executor* executor, Block block);
  // Ends the observation of `token`; a null or already removed token does nothing. Deliveries
  // already scheduled on an executor and not yet begun are dropped.
  void removeObserver(const NotificationObserverToken& token);

  void post(const Notification& notification);
  void post(std::string name, const void* object = nullptr, NotificationUserInfo userInfo = {});

  // Number of observers registered (for tests and diagnostics).
  std::size_t observerCount() const;

 private:
  mutable std::mutex mutex_;  // guards observers_
  std::vector<NotificationObserverToken> observers_;
};

}  // namespace orvelin
