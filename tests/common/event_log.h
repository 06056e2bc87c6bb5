#pragma once

// An ordered record of events (callbacks, notifications) that tests collect from any thread,
// and one observation of the default centre that ends with its scope.

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "orvelin/support/notification_center.h"

namespace orvelin::testing {

class EventLog {
 public:
  void add(std::string event) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
  }
  std::vector<std::string> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> events_;
};

// Observes `name` (every name when absent) from `object` (every sender when null) on the
// posting thread until destroyed.
class Observation {
 public:
  Observation(std::optional<std::string> name, const void* object, NotificationCenter::Block block)
      : token_(NotificationCenter::defaultCenter().addObserver(std::move(name), object, nullptr, std::move(block))) {}
  ~Observation() { NotificationCenter::defaultCenter().removeObserver(token_); }
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;

 private:
  NotificationObserverToken token_;
};

}  // namespace orvelin::testing
