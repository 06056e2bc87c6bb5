#include "orvelin/support/parallel.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <thread>

namespace orvelin {

namespace {

// The shared pool: one thread per core, living for the rest of the process.
class WorkerPool {
 public:
  static WorkerPool& shared() {
    static auto* pool = new WorkerPool;  // never deleted: workers run until the process exits
    return *pool;
  }

  std::size_t width() const { return width_; }

  void submit(std::function<void()> job) {
    {
      std::lock_guard lock(mutex_);
      jobs_.push_back(std::move(job));
    }
    available_.notify_one();
  }

 private:
  WorkerPool() : width_(std::max(1u, std::thread::hardware_concurrency())) {
    for (std::size_t i = 0; i < width_; ++i) std::thread([this] { loop(); }).detach();
  }

  void loop() {
    for (;;) {
      std::function<void()> job;
      {
        std::unique_lock lock(mutex_);
        available_.wait(lock, [&] { return !jobs_.empty(); });
        job = std::move(jobs_.front());
        jobs_.pop_front();
      }
      job();
    }
  }

  const std::size_t width_;
  std::mutex mutex_;  // guards jobs_
  std::condition_variable available_;
  std::deque<std::function<void()>> jobs_;
};

// The state of one concurrentPerform call, shared with the helpers that may start late.
struct PerformState {
  explicit PerformState(std::size_t iterations, const std::function<void(std::size_t)>& body)
      : iterations(iterations), body(body) {}

  // Claims and runs iterations until none is left. Safe after the caller has returned:
  // a late helper finds `next` past the end and does not touch `body`.
  void work() {
    for (;;) {
      const std::size_t index = next.fetch_add(1);
      if (index >= iterations) return;
      if (!failed.load()) {
        try {
          body(index);
        } catch (...) {
          std::lock_guard lock(mutex);
          if (!error) error = std::current_exception();
          failed = true;
        }
      }
      if (finished.fetch_add(1) + 1 == iterations) {
        std::lock_guard lock(mutex);
        done.notify_all();
      }
    }
  }

  const std::size_t iterations;
  const std::function<void(std::size_t)>& body;  // valid until every iteration has finished
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> finished{0};
  std::atomic<bool> failed{false};
  std::mutex mutex;  // guards error, and pairs with done
  std::condition_variable done;
  std::exception_ptr error;
};

}  // namespace

std::size_t workerPoolWidth() { return WorkerPool::shared().width(); }

void concurrentPerform(std::size_t iterations, const std::function<void(std::size_t)>& body) {
  if (iterations == 0) return;
  if (iterations == 1) {
    body(0);
    return;
  }
  auto state = std::make_shared<PerformState>(iterations, body);
  auto& pool = WorkerPool::shared();
  const std::size_t helpers = std::min(iterations - 1, pool.width());
  for (std::size_t i = 0; i < helpers; ++i) pool.submit([state] { state->work(); });
  state->work();
  {
    std::unique_lock lock(state->mutex);
    state->done.wait(lock, [&] { return state->finished.load() == iterations; });
  }
  if (state->error) std::rethrow_exception(state->error);
}

}  // namespace orvelin
