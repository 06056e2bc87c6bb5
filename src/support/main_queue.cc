#include "orvelin/support/main_queue.h"

#include "orvelin/support/fatal.h"

namespace orvelin {

// Marks the calling thread as the pumping thread for its lifetime.
class MainQueue::PumpScope {
 public:
  PumpScope(MainQueue& queue, std::unique_lock<std::mutex>& lock) : queue_(queue) {
    (void)lock;
    if (queue_.pumpingThread_ != std::thread::id() && queue_.pumpingThread_ != std::this_thread::get_id())
      ORVFatal("MainQueue is already pumped by another thread");
    previous_ = queue_.pumpingThread_;
    queue_.pumpingThread_ = std::this_thread::get_id();
  }
  ~PumpScope() { queue_.pumpingThread_ = previous_; }

 private:
  MainQueue& queue_;
  std::thread::id previous_;
};

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
  return pumpingThread_ == std::this_thread::get_id();
}

void MainQueue::sync(const std::function<void()>& block) {
  if (isMainThread()) {
    block();
    return;
  }
  std::mutex doneMutex;
  std::condition_variable doneChanged;
  bool done = false;
  async([&] {
    block();
    std::lock_guard lock(doneMutex);
    done = true;
    doneChanged.notify_all();
  });
  std::unique_lock lock(doneMutex);
  doneChanged.wait(lock, [&] { return done; });
}

// Runs the first block, with the lock released during the call. Returns false when empty.
bool MainQueue::runOne(std::unique_lock<std::mutex>& lock) {
  if (blocks_.empty()) return false;
  auto block = std::move(blocks_.front());
  blocks_.pop_front();
  busy_ = true;
  lock.unlock();
  block();
  lock.lock();
  busy_ = false;
  changed_.notify_all();
  return true;
}

void MainQueue::run() {
  std::unique_lock lock(mutex_);
  PumpScope scope(*this, lock);
  stopRequested_ = false;
  while (!stopRequested_) {
    if (!runOne(lock)) changed_.wait(lock, [&] { return stopRequested_ || !blocks_.empty(); });
  }
  stopRequested_ = false;
}

bool MainQueue::runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  const auto now = std::chrono::steady_clock::now();
  const auto deadline = timeout == std::chrono::milliseconds::max()
                            ? std::chrono::steady_clock::time_point::max()
                            : now + timeout;
  std::unique_lock lock(mutex_);
  PumpScope scope(*this, lock);
  for (;;) {
    lock.unlock();
    const bool finished = done();
    lock.lock();
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
  PumpScope scope(*this, lock);
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
  ownThread_ = std::thread([this] {
    std::unique_lock lock(mutex_);
    PumpScope scope(*this, lock);
    while (!shuttingDown_) {
      if (!runOne(lock)) changed_.wait(lock, [&] { return shuttingDown_ || !blocks_.empty(); });
    }
  });
}

bool MainQueue::isRunningOnOwnThread() const {
  std::lock_guard lock(mutex_);
  return ownThread_.joinable();
}

void MainQueue::waitUntilIdle() {
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
