#pragma once

// A clock for tests, installed for its lifetime: its waits return at once and move its own
// steady time on by what they would have waited, so that no test sleeps to wait for something.

#include <atomic>
#include <chrono>

#include "orvelin/support/clock.h"

namespace orvelin::testing {

class InstantClock : public ClockWrapper {
 public:
  InstantClock() : ClockWrapper(Clock::Default()) { ORVSetClock(this); }
  ~InstantClock() override { ORVSetClock(nullptr); }
  InstantClock(const InstantClock&) = delete;
  InstantClock& operator=(const InstantClock&) = delete;

  std::chrono::steady_clock::time_point steadyNow() override { return start_ + waited(); }
  void sleepFor(std::chrono::nanoseconds duration) override { waited_ += duration.count(); }
  // What the waits would have taken.
  std::chrono::nanoseconds waited() const { return std::chrono::nanoseconds(waited_.load()); }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::atomic<std::int64_t> waited_{0};
};

}  // namespace orvelin::testing
