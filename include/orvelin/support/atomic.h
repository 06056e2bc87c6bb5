#pragma once

#include <memory>
#include <semaphore>
#include <utility>

namespace orvelin {

// A value guarded by a counting semaphore of value 1.
//
// Copies share the semaphore (each keeps its own value): a copy is made under the source's
// semaphore, and from then on the two exclude each other. Assignment reads the source's value
// under the source's semaphore, then stores it under this object's own semaphore, which it
// keeps: the semaphore that guards an object never changes, so value(), setValue() and
// update() may run on other threads while it is assigned to.
//
// Thread-safe for value(), setValue(), update() and assignment from another Atomic. The
// semaphore is not re-entrant: a block given to update() that reads or writes the same Atomic
// (or a copy of it) waits for ever.
template <typename T>
class Atomic {
 public:
  explicit Atomic(T value = T{}) : rawValue_(std::move(value)), semaphore_(std::make_shared<Semaphore>(1)) {}

  Atomic(const Atomic& other) : rawValue_(other.value()), semaphore_(other.semaphore_) {}
  Atomic& operator=(const Atomic& other) {
    if (this != &other) setValue(other.value());  // one semaphore at a time: no lock order
    return *this;
  }

  // A copy of the value.
  T value() const {
    Hold hold(*semaphore_);
    return rawValue_;
  }

  void setValue(T value) {
    Hold hold(*semaphore_);
    rawValue_ = std::move(value);
  }

  // Read-modify-write: `block` gets the value for in-place change, under the semaphore.
  template <typename Block>
  void update(Block&& block) {
    Hold hold(*semaphore_);
    std::forward<Block>(block)(rawValue_);
  }

 private:
  using Semaphore = std::binary_semaphore;

  // Waits on the semaphore for its life; signals it on every way out.
  class Hold {
   public:
    explicit Hold(Semaphore& semaphore) : semaphore_(semaphore) { semaphore_.acquire(); }
    ~Hold() { semaphore_.release(); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    Semaphore& semaphore_;
  };

  T rawValue_;                                   // guarded by *semaphore_
  const std::shared_ptr<Semaphore> semaphore_;  // set at construction, never replaced
};

}  // namespace orvelin
