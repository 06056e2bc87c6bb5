#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "orvelin/support/executor.h"

namespace orvelin {

// Runs operations on threads of its own, at most `maxConcurrentOperationCount` at once, in the
// order they were added (an operation starts when a slot is free; with a width of 1 the queue
// is serial).
//
// Threads are made when needed, up to the width, and live until the queue is destroyed; the
// destructor waits for the running operations and drops those not begun.
//
// Safe for concurrent use by multiple threads. An operation may add operations to its own
// queue and cancel them; it must neither wait for nor destroy its own queue (either stops the
// process). An exception that escapes an operation ends the process.
class OperationQueue final : public Executor {
 public:
  explicit OperationQueue(std::size_t maxConcurrentOperationCount = 1, std::string name = {});
  OperationQueue(const OperationQueue&) = delete;
  OperationQueue& operator=(const OperationQueue&) = delete;
  ~OperationQueue() override;

  const std::string& name() const { return name_; }
  std::size_t maxConcurrentOperationCount() const { return width_; }

  // Adds `operation` at the end of the queue. Does nothing once the queue is being destroyed.
  void addOperation(std::function<void()> operation);
  void async(std::function<void()> block) override { addOperation(std::move(block)); }

  // Drops the operations that have not begun, without running them; running ones go on to their
  // end. Operations added afterwards run as usual.
  void cancelAllOperations();
  // Operations not finished: running plus waiting.
  std::size_t operationCount() const;
  // Blocks until no operation runs or waits, including those added meanwhile.
  void waitUntilAllOperationsAreFinished();

  // True on a thread of this queue while it runs an operation.
  bool isCurrentQueue() const;

 private:
  void workerLoop();

  const std::size_t width_;
  const std::string name_;
  mutable std::mutex mutex_;  // guards everything below
  std::condition_variable workAvailable_;
  std::condition_variable idle_;
  std::deque<std::function<void()>> waiting_;
  std::size_t running_ = 0;
  std::size_t idleWorkers_ = 0;
  bool shuttingDown_ = false;
  std::vector<std::thread> workers_;
};

}  // namespace orvelin
