#pragma once

// An ordered record of events (callbacks, notifications) that tests collect from any thread.

#include <mutex>
#include <string>
#include <vector>

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

}  // namespace orvelin::testing
