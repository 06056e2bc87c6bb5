#include "orvelin/support/clock.h"

#include <atomic>
#include <thread>

namespace orvelin {

namespace {

class SystemClock final : public Clock {
 public:
  std::chrono::system_clock::time_point now() override { return std::chrono::system_clock::now(); }
  std::chrono::steady_clock::time_point steadyNow() override { return std::chrono::steady_clock::now(); }
  void sleepFor(std::chrono::nanoseconds duration) override { std::this_thread::sleep_for(duration); }
};

std::atomic<Clock*>& installed() {
  static std::atomic<Clock*> clock{nullptr};
  return clock;
}

}  // namespace

Clock* Clock::Default() {
  static auto* clock = new SystemClock;
  return clock;
}

Clock* ORVGetClock() {
  Clock* clock = installed().load(std::memory_order_acquire);
  return clock ? clock : Clock::Default();
}

void ORVSetClock(Clock* clock) { installed().store(clock, std::memory_order_release); }

}  // namespace orvelin
