#include "orvelin/support/parallel.h"

#include <sched.h>

#include <atomic>
#include <exception>
#include <memory>
#include <thread>

namespace orvelin {

namespace {

// The cores this process may run on: its CPU affinity, bounded by the cores on line.
std::size_t availableCores() {
  std::size_t cores = std::thread::hardware_concurrency();
  cpu_set_t set;
  CPU_ZERO(&set);
  if (::sched_getaffinity(0, sizeof set, &set) == 0) {
    const auto allowed = static_cast<std::size_t>(CPU_COUNT(&set));
    if (allowed > 0 && (cores == 0 || allowed < cores)) cores = allowed;
  }
  return std::max<std::size_t>(1, cores);
}

// The state of one concurrentPerform call, shared with the helpers that may start late.
struct PerformState {
  PerformState(std::size_t iterations, const std::function<void(std::size_t)>& body)
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

WorkerPool& WorkerPool::shared() {
  static auto* pool = new WorkerPool(availableCores());  // never deleted: workers run until exit
  return *pool;
}

WorkerPool::WorkerPool(std::size_t width) : width_(width) {
  for (std::size_t i = 0; i < width_; ++i) std::thread([this] { loop(); }).detach();
}

void WorkerPool::async(std::function<void()> block) {
  {
    std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(block));
  }
  available_.notify_one();
}

void WorkerPool::loop() {
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

void concurrentPerform(std::size_t iterations, const std::function<void(std::size_t)>& body) {
  if (iterations == 0) return;
  auto& pool = WorkerPool::shared();
  const std::size_t helpers = std::min(iterations, pool.width()) - 1;
  if (helpers == 0) {
    for (std::size_t index = 0; index < iterations; ++index) body(index);
    return;
  }
  auto state = std::make_shared<PerformState>(iterations, body);
  for (std::size_t i = 0; i < helpers; ++i) pool.async([state] { state->work(); });
  state->work();
  {
    std::unique_lock lock(state->mutex);
    state->done.wait(lock, [&] { return state->finished.load() == iterations; });
  }
  if (state->error) std::rethrow_exception(state->error);
}

}  // namespace orvelin
