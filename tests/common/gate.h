#pragma once

// A gate that blocks the threads that reach it until the test opens it, counting them, so that
// a test can wait (boundedly, against a hang, not as a timing) until a given number wait there.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace orvelin::testing {

class Gate {
 public:
  // Blocks until open().
  void wait() {
    std::unique_lock lock(mutex_);
    highest_ = std::max(highest_, ++waiting_);
    changed_.notify_all();
    changed_.wait(lock, [&] { return open_; });
    --waiting_;
  }
  // A block that waits at the gate.
  std::function<void()> body() {
    return [this] { wait(); };
  }
  void open() {
    std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  // True once `count` threads wait at the gate at once; false after a minute without.
  bool awaitWaiting(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::minutes(1), [&] { return waiting_ >= count; });
  }
  // The most threads that ever waited at once.
  int highest() {
    std::lock_guard lock(mutex_);
    return highest_;
  }

 private:
  std::mutex mutex_;  // guards the three below
  std::condition_variable changed_;
  int waiting_ = 0;
  int highest_ = 0;
  bool open_ = false;
};

}  // namespace orvelin::testing
