#pragma once

#include <chrono>

namespace orvelin {

// The time as the library sees it, and its waits: behind one interface so that tests and hosts
// can put another in its place (see ORVSetClock), such as a clock whose waits return at once.
// Implementations must be safe for concurrent use by multiple threads; Clock::Default() is.
class Clock {
 public:
  virtual ~Clock() = default;

  // The present moment, as the system tells it (dates of tasks and GPS stamps, "now").
  virtual std::chrono::system_clock::time_point now() = 0;
  // A moment of a clock that never goes back, for measuring waits.
  virtual std::chrono::steady_clock::time_point steadyNow() = 0;
  // Blocks the calling thread for `duration` (a wait for something to appear).
  virtual void sleepFor(std::chrono::nanoseconds duration) = 0;

  // The system's clocks. Belongs to the library and must never be deleted.
  static Clock* Default();
};

// Forwards every call to another clock; tests derive from it to change one behaviour.
class ClockWrapper : public Clock {
 public:
  explicit ClockWrapper(Clock* target) : target_(target) {}
  std::chrono::system_clock::time_point now() override { return target_->now(); }
  std::chrono::steady_clock::time_point steadyNow() override { return target_->steadyNow(); }
  void sleepFor(std::chrono::nanoseconds duration) override { target_->sleepFor(duration); }
  Clock* target() const { return target_; }

 private:
  Clock* target_;
};

// The clock the library uses, Clock::Default() unless set. The caller keeps ownership and keeps
// it alive while installed; null restores the default. Meant to be set at start-up or in a
// test, while nothing waits on it.
Clock* ORVGetClock();
void ORVSetClock(Clock* clock);

}  // namespace orvelin
