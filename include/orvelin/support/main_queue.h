#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "orvelin/support/executor.h"

namespace orvelin {

// The serial queue of the host's main thread: blocks run one at a time, in the order they
// were added, on the thread that pumps the queue.
//
// A host either pumps it from its own main thread (run(), runUntil(), drain()), or, as
// command-line hosts and tests do, calls startOnOwnThread() once so that a thread of the
// queue's own pumps it. Either way exactly one thread is "the main thread" while it pumps.
//
// Safe for concurrent use by multiple threads.
class MainQueue final : public Executor {
 public:
  // The process's main queue. Belongs to the library and is never deleted.
  static MainQueue& shared();

  MainQueue() = default;
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;
  ~MainQueue() override;

  // Adds `block` at the end of the queue.
  void async(std::function<void()> block) override;

  // Runs `block` on the main thread and waits for it. Called from the main thread (or when
  // no thread pumps the queue and none has been started: see below) it runs inline.
  // REQUIRES: a thread pumps the queue, or the caller is the main thread; otherwise the call
  // waits until some thread pumps it.
  void sync(const std::function<void()>& block);

  // True on the thread that pumps the queue now.
  bool isMainThread() const;

  // Pumps the queue on the calling thread until stop() is called.
  void run();
  // Pumps the queue on the calling thread until `done()` is true (checked after each block
  // and whenever the queue is empty), or until `timeout` elapses. Returns `done()`.
  bool runUntil(const std::function<bool()>& done,
                std::chrono::milliseconds timeout = std::chrono::milliseconds::max());
  // Runs the blocks queued now, and those they add, until the queue is empty. Returns the
  // number of blocks run.
  std::size_t drain();
  // Ends run() after the block being run.
  void stop();

  // Starts a thread of the queue's own that pumps it for the rest of the process (or until
  // the queue is destroyed). Does nothing when already started.
  void startOnOwnThread();
  bool isRunningOnOwnThread() const;

  // Blocks until every block added before this call has run.
  // REQUIRES: not called from the main thread; a thread pumps the queue.
  void waitUntilIdle();

 private:
  bool runOne(std::unique_lock<std::mutex>& lock);
  class PumpScope;

  mutable std::mutex mutex_;  // guards everything below
  std::condition_variable changed_;
  std::deque<std::function<void()>> blocks_;
  std::thread::id pumpingThread_;
  bool stopRequested_ = false;
  bool busy_ = false;  // a block is running
  std::thread ownThread_;
  bool shuttingDown_ = false;
};

}  // namespace orvelin
