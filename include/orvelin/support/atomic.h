#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace orvelin {

// A value guarded by a lock. Copies share the lock (and each keeps its own value), as
// copies of the guarded value in one place are meant to.
// Thread-safe for value(), setValue() and update(). The lock is not re-entrant: a block given
// to update() must not use the same Atomic.
template <typename T>
class Atomic {
 public:
  explicit Atomic(T value = T{}) : rawValue_(std::move(value)), semaphore_(std::make_shared<std::mutex>()) {}

  // A copy of the value.
  T value() const {
    std::lock_guard lock(*semaphore_);
    return rawValue_;
  }

  void setValue(T value) {
    std::lock_guard lock(*semaphore_);
    rawValue_ = std::move(value);
  }

  // Read-modify-write under the lock: `block` gets the value for in-place change.
  template <typename Block>
  void update(Block&& block) {
    std::lock_guard lock(*semaphore_);
    block(rawValue_);
  }

 private:
  T rawValue_;
  std::shared_ptr<std::mutex> semaphore_;
};

}  // namespace orvelin
