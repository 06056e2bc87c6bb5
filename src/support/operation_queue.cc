#include "orvelin/support/operation_queue.h"

#include <algorithm>

#include "orvelin/support/fatal.h"

namespace orvelin {

namespace {
thread_local const OperationQueue* currentQueue = nullptr;
}

OperationQueue::OperationQueue(std::size_t maxConcurrentOperationCount, std::string name)
    : width_(std::max<std::size_t>(1, maxConcurrentOperationCount)), name_(std::move(name)) {}

OperationQueue::~OperationQueue() {
  if (isCurrentQueue()) ORVFatal("OperationQueue destroyed from one of its own operations");
  std::deque<std::function<void()>> dropped;
  {
    std::lock_guard lock(mutex_);
    shuttingDown_ = true;
    dropped.swap(waiting_);
  }
  workAvailable_.notify_all();
  dropped.clear();  // their captures go outside the lock
  for (auto& worker : workers_) worker.join();
}

void OperationQueue::addOperation(std::function<void()> operation) {
  std::unique_lock lock(mutex_);
  if (shuttingDown_) return;
  waiting_.push_back(std::move(operation));
  if (waiting_.size() > idleWorkers_ && workers_.size() < width_) {
    workers_.emplace_back([this] { workerLoop(); });
  } else {
    lock.unlock();
    workAvailable_.notify_one();
  }
}

void OperationQueue::workerLoop() {
  currentQueue = this;
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idleWorkers_;
    workAvailable_.wait(lock, [&] { return shuttingDown_ || !waiting_.empty(); });
    --idleWorkers_;
    if (shuttingDown_) return;
    auto operation = std::move(waiting_.front());
    waiting_.pop_front();
    ++running_;
    lock.unlock();
    operation();
    operation = nullptr;  // release captures before reporting the end
    lock.lock();
    --running_;
    if (running_ == 0 && waiting_.empty()) idle_.notify_all();
  }
}

void OperationQueue::cancelAllOperations() {
  std::deque<std::function<void()>> dropped;
  {
    std::lock_guard lock(mutex_);
    dropped.swap(waiting_);
    if (running_ == 0) idle_.notify_all();
  }
  // The dropped operations' captures are released outside the lock: their destructors may use
  // the queue.
}

std::size_t OperationQueue::operationCount() const {
  std::lock_guard lock(mutex_);
  return running_ + waiting_.size();
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  if (isCurrentQueue()) ORVFatal("OperationQueue waits for itself from one of its own operations");
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [&] { return running_ == 0 && waiting_.empty(); });
}

bool OperationQueue::isCurrentQueue() const { return currentQueue == this; }

}  // namespace orvelin
