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
// were added, on the main thread.
//
// A host either pumps it from its own main thread (run(), runUntil(), drain()), or, as
// command-line hosts and tests do, calls startOnOwnThread() once so that a thread of the
// queue's own pumps it. The main thread is the thread that pumps the queue, or pumped it last
// (the queue's own thread once started); only one thread pumps at a time.
//
// Serial in every mode: no two blocks ever run at the same time, whether the main thread runs
// them or sync() runs one on its caller's thread. A block that waits for another thread which
// is itself waiting in sync() therefore waits for ever, as on any serial queue.
//
// Exceptions: one that leaves a block given to sync() reaches the caller of sync(). One that
// leaves a block given to async() has nobody to reach and is a programming fault: the process
// stops through ORVFatal with the exception's what().
//
// Safe for concurrent use by multiple threads. The queue's mutex guards all of its state; it
// is never held while a block runs.
class MainQueue final : public Executor {
 public:
  // The process's main queue. Belongs to the library and is never deleted.
  static MainQueue& shared();

  MainQueue() = default;
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;
  // Stops the queue's own thread after its current block; blocks not begun are dropped.
  // REQUIRES: no other thread pumps the queue.
  ~MainQueue() override;

  // Adds `block` at the end of the queue.
  void async(std::function<void()> block) override;

  // Runs `block` on the main queue and returns when it has run; an exception of the block is
  // thrown here. Called from a block that is running (a nested sync), or on the main thread,
  // it runs inline. Before any thread has pumped the queue (and while none is started) there
  // is no main thread to wait for: the block runs on the caller's thread, once no other block
  // runs, and blocks of other threads' sync() calls wait for it. Otherwise the call waits
  // until the main thread pumps the queue and has run the blocks added before.
  void sync(const std::function<void()>& block);

  // True on the main thread.
  bool isMainThread() const;

  // Pumps the queue on the calling thread until stop() is called.
  // REQUIRES: no other thread pumps the queue (stops the process otherwise).
  void run();
  // Pumps the queue on the calling thread until `done()` is true (checked before each block and
  // at least every few milliseconds while the queue is empty), or until `timeout` elapses.
  // Returns `done()`. REQUIRES: as run().
  bool runUntil(const std::function<bool()>& done,
                std::chrono::milliseconds timeout = std::chrono::milliseconds::max());
  // Runs the blocks queued now, and those they add, until the queue is empty. Returns the
  // number of blocks run. REQUIRES: as run().
  std::size_t drain();
  // Ends run() after the block being run.
  void stop();

  // Starts a thread of the queue's own that pumps it for the rest of the process (or until
  // the queue is destroyed). Does nothing when already started.
  // REQUIRES: no other thread pumps the queue.
  void startOnOwnThread();
  bool isRunningOnOwnThread() const;

  // Returns when every block added before this call has run. On the main thread it drains the
  // queue itself; elsewhere it waits for the main thread to pump the queue.
  void waitUntilIdle();

 private:
  bool runOne(std::unique_lock<std::mutex>& lock);
  class PumpScope;
  class RunScope;

  mutable std::mutex mutex_;  // guards everything below
  std::condition_variable changed_;
  std::deque<std::function<void()>> blocks_;
  std::thread::id mainThread_;     // pumps or pumped last; none before the first pump
  std::thread::id pumpingThread_;  // pumps now; none between pumps
  std::thread::id runningThread_;  // runs a block now (nested blocks count in runningDepth_)
  int runningDepth_ = 0;
  bool stopRequested_ = false;
  std::thread ownThread_;
  bool shuttingDown_ = false;
};

}  // namespace orvelin
