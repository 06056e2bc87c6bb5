#include "orvelin/support/main_queue.h"

#include <exception>
#include <string>

#include "orvelin/support/fatal.h"

namespace orvelin {

namespace {

// Takes the lock back, when it was let go, on every way out of a scope.
class Relock {
 public:
  explicit Relock(std::unique_lock<std::mutex>& lock) : lock_(lock) {}
  ~Relock() {
    if (!lock_.owns_lock()) lock_.lock();
  }
  Relock(const Relock&) = delete;
  Relock& operator=(const Relock&) = delete;

 private:
  std::unique_lock<std::mutex>& lock_;
};

}  // namespace

// Makes the calling thread the pumping (and main) thread for its lifetime. Nested scopes on
// one thread are fine; a second thread is a programming fault. Built and destroyed under the
// queue's lock.
class MainQueue::PumpScope {
 public:
  explicit PumpScope(MainQueue& queue) : queue_(queue) {
    const auto self = std::this_thread::get_id();
    if (queue_.pumpingThread_ != std::thread::id() && queue_.pumpingThread_ != self)
      ORVFatal("MainQueue is already pumped by another thread");
    previous_ = queue_.pumpingThread_;
    queue_.pumpingThread_ = self;
    queue_.mainThread_ = self;
  }
  ~PumpScope() { queue_.pumpingThread_ = previous_; }
  PumpScope(const PumpScope&) = delete;
  PumpScope& operator=(const PumpScope&) = delete;

 private:
  MainQueue& queue_;
  std::thread::id previous_;
};

// Gives the calling thread the right to run blocks for its lifetime: waits until no other
// thread runs one. Nested scopes on one thread are fine. Built and destroyed under the queue's
// lock.
class MainQueue::RunScope {
 public:
  RunScope(MainQueue& queue, std::unique_lock<std::mutex>& lock) : queue_(queue) {
    const auto self = std::this_thread::get_id();
    queue_.changed_.wait(lock, [&] {
      return queue_.runningThread_ == std::thread::id() || queue_.runningThread_ == self;
    });
    queue_.runningThread_ = self;
    ++queue_.runningDepth_;
  }
  ~RunScope() {
    if (--queue_.runningDepth_ > 0) return;
    queue_.runningThread_ = std::thread::id();
    queue_.changed_.notify_all();
  }
  RunScope(const RunScope&) = delete;
  RunScope& operator=(const RunScope&) = delete;

 private:
  MainQueue& queue_;
};

namespace {

// An exception that leaves a block given to async() has nobody to go to: it is a programming
// fault.
void runAsyncBlock(const std::function<void()>& block) {
  try {
    block();
  } catch (const std::exception& error) {
    ORVFatal(std::string("Uncaught exception in a block of the main queue: ") + error.what());
  } catch (...) {
    ORVFatal("Uncaught exception in a block of the main queue");
  }
}

}  // namespace

MainQueue& MainQueue::shared() {
  static auto* queue = new MainQueue;  // never deleted: blocks may be queued at exit
  return *queue;
}

MainQueue::~MainQueue() {
  {
    std::lock_guard lock(mutex_);
    shuttingDown_ = true;
    stopRequested_ = true;
  }
  changed_.notify_all();
  if (ownThread_.joinable()) ownThread_.join();
}

void MainQueue::async(std::function<void()> block) {
  {
    std::lock_guard lock(mutex_);
    blocks_.push_back(std::move(block));
  }
  changed_.notify_all();
}

bool MainQueue::isMainThread() const {
  std::lock_guard lock(mutex_);
  return mainThread_ == std::this_thread::get_id();
}

void MainQueue::sync(const std::function<void()>& block) {
  {
    std::unique_lock lock(mutex_);
    const auto self = std::this_thread::get_id();
    if (runningThread_ == self) {  // called from a block: run at once, inside it
      lock.unlock();
      block();
      return;
    }
    if (mainThread_ == std::thread::id() || mainThread_ == self) {
      // Nothing to wait for: run here, once no other thread runs a block.
      RunScope scope(*this, lock);
      Relock relock(lock);
      lock.unlock();
      block();
      return;
    }
  }
  std::mutex doneMutex;
  std::condition_variable doneChanged;
  bool done = false;
  std::exception_ptr error;
  async([&] {
    try {
      block();
    } catch (...) {
      error = std::current_exception();
    }
    std::lock_guard lock(doneMutex);
    done = true;
    doneChanged.notify_all();
  });
  std::unique_lock lock(doneMutex);
  doneChanged.wait(lock, [&] { return done; });
  if (error) std::rethrow_exception(error);
}

// Runs the first block, with the lock let go during the call, once no other thread runs one.
// Returns false when empty. REQUIRES: the calling thread pumps the queue (only it takes blocks
// out, so the queue is not empty after the wait either).
bool MainQueue::runOne(std::unique_lock<std::mutex>& lock) {
  if (blocks_.empty()) return false;
  RunScope scope(*this, lock);
  Relock relock(lock);  // let go of before the scope, which needs the lock
  std::function<void()> block = std::move(blocks_.front());
  blocks_.pop_front();
  lock.unlock();
  runAsyncBlock(block);
  block = nullptr;  // its captures go before the lock is taken back
  return true;
}

void MainQueue::run() {
  std::unique_lock lock(mutex_);
  PumpScope scope(*this);
  stopRequested_ = false;
  while (!stopRequested_) {
    if (!runOne(lock)) changed_.wait(lock, [&] { return stopRequested_ || !blocks_.empty(); });
  }
  stopRequested_ = false;
}

bool MainQueue::runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  const auto now = std::chrono::steady_clock::now();
  const auto deadline = timeout >= std::chrono::duration_cast<std::chrono::milliseconds>(
                                       std::chrono::steady_clock::time_point::max() - now)
                            ? std::chrono::steady_clock::time_point::max()
                            : now + timeout;
  std::unique_lock lock(mutex_);
  PumpScope scope(*this);
  for (;;) {
    bool finished;
    {
      Relock relock(lock);
      lock.unlock();
      finished = done();
    }
    if (finished) return true;
    if (runOne(lock)) continue;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    // Wake up regularly: `done` may depend on state that changes without a block.
    const auto wakeUp = std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(5));
    changed_.wait_until(lock, wakeUp, [&] { return !blocks_.empty(); });
  }
}

std::size_t MainQueue::drain() {
  std::unique_lock lock(mutex_);
  PumpScope scope(*this);
  std::size_t count = 0;
  while (runOne(lock)) ++count;
  return count;
}

void MainQueue::stop() {
  {
    std::lock_guard lock(mutex_);
    stopRequested_ = true;
  }
  changed_.notify_all();
}

void MainQueue::startOnOwnThread() {
  std::lock_guard lock(mutex_);
  if (ownThread_.joinable()) return;
  if (pumpingThread_ != std::thread::id()) ORVFatal("MainQueue is already pumped by another thread");
  ownThread_ = std::thread([this] {
    std::unique_lock lock(mutex_);
    PumpScope scope(*this);
    while (!shuttingDown_) {
      if (!runOne(lock)) changed_.wait(lock, [&] { return shuttingDown_ || !blocks_.empty(); });
    }
  });
  // The new thread pumps, and is the main thread, from now on, even before it takes the lock.
  mainThread_ = ownThread_.get_id();
  pumpingThread_ = ownThread_.get_id();
}

bool MainQueue::isRunningOnOwnThread() const {
  std::lock_guard lock(mutex_);
  return ownThread_.joinable();
}

void MainQueue::waitUntilIdle() {
  if (isMainThread()) {
    drain();
    return;
  }
  std::mutex doneMutex;
  std::condition_variable doneChanged;
  bool done = false;
  async([&] {
    std::lock_guard lock(doneMutex);
    done = true;
    doneChanged.notify_all();
  });
  std::unique_lock lock(doneMutex);
  doneChanged.wait(lock, [&] { return done; });
}

}  // namespace orvelin
