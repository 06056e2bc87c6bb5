#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "orvelin/support/executor.h"

namespace orvelin {

// The process's shared pool of worker threads, one per available core, living for the rest of
// the process. It stands for the platform's global concurrent queues: blocks given to async()
// run in the order they were added, as many at once as there are workers. concurrentPerform()
// draws its helpers from it.
//
// The result of shared() belongs to the library and must never be deleted. Safe for concurrent
// use by multiple threads. A block that waits for another block of the pool may wait for ever
// when every worker waits likewise; concurrentPerform() never does (its caller takes part).
class WorkerPool final : public Executor {
 public:
  static WorkerPool& shared();

  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Number of worker threads: the cores available to the process, at least 1.
  std::size_t width() const { return width_; }

  // Schedules `block` on a worker. An exception that escapes the block ends the process.
  void async(std::function<void()> block) override;

 private:
  explicit WorkerPool(std::size_t width);
  ~WorkerPool() override = default;  // never destroyed
  void loop();

  const std::size_t width_;
  std::mutex mutex_;  // guards jobs_
  std::condition_variable available_;
  std::deque<std::function<void()>> jobs_;
};

// Runs body(0) ... body(iterations - 1) in parallel and returns when all are done: on the calling
// thread and on at most WorkerPool::shared().width() - 1 workers, so that about one thread per
// core works on it. Iterations start in ascending order and finish in no fixed order. The
// caller takes part, so nested calls from inside a body make progress and never deadlock. The
// first exception a body throws is rethrown to the caller once every started iteration has
// ended; the iterations not yet started are then skipped.
void concurrentPerform(std::size_t iterations, const std::function<void(std::size_t)>& body);

// Parallel map that keeps the input's order: transforms run in parallel, results are stored
// in their input slot.
template <typename T, typename Transform>
auto pMap(const std::vector<T>& elements, Transform&& transform) {
  using Result = std::decay_t<decltype(transform(elements.front()))>;
  std::vector<std::optional<Result>> slots(elements.size());
  concurrentPerform(elements.size(), [&](std::size_t index) { slots[index].emplace(transform(elements[index])); });
  std::vector<Result> results;
  results.reserve(slots.size());
  for (auto& slot : slots) results.push_back(std::move(*slot));
  return results;
}

// Parallel map that drops the absent results and keeps the order of the others.
template <typename T, typename Transform>
auto pCompactMap(const std::vector<T>& elements, Transform&& transform) {
  using Optional = std::decay_t<decltype(transform(elements.front()))>;
  using Result = typename Optional::value_type;
  std::vector<Optional> slots(elements.size());
  concurrentPerform(elements.size(), [&](std::size_t index) { slots[index] = transform(elements[index]); });
  std::vector<Result> results;
  for (auto& slot : slots)
    if (slot) results.push_back(std::move(*slot));
  return results;
}

// Parallel map into a set; the inserts are serialised.
template <typename T, typename Transform, typename Hash = std::hash<std::decay_t<std::invoke_result_t<Transform, const T&>>>>
auto pMapToSet(const std::vector<T>& elements, Transform&& transform) {
  using Result = std::decay_t<decltype(transform(elements.front()))>;
  std::unordered_set<Result, Hash> results;
  std::mutex resultsMutex;
  concurrentPerform(elements.size(), [&](std::size_t index) {
    auto value = transform(elements[index]);
    std::lock_guard lock(resultsMutex);
    results.insert(std::move(value));
  });
  return results;
}

// Removes the elements at the given indexes (any order, duplicates ignored, out-of-range
// indexes ignored), from the highest to the lowest so that positions stay valid.
template <typename T>
void remove(std::vector<T>& elements, std::vector<std::size_t> indexes) {
  std::sort(indexes.begin(), indexes.end());
  indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
  for (auto it = indexes.rbegin(); it != indexes.rend(); ++it)
    if (*it < elements.size()) elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(*it));
}

// move(from:to:), named so that it never meets std::move: moves the elements at `indexes`
// together, in their former relative order, to `destination` (a position counted before the
// move), and returns the position where the moved block now begins. Indexes are taken in
// ascending order, duplicates and out-of-range ones ignored; a destination beyond the end is
// clamped to it.
template <typename T>
std::size_t moveFrom(std::vector<T>& elements, std::vector<std::size_t> indexes, std::size_t destination) {
  std::sort(indexes.begin(), indexes.end());
  indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
  std::vector<T> moved;
  std::size_t below = 0;
  std::size_t k = 0;
  for (std::size_t index : indexes) {
    if (index >= elements.size() + k) continue;
    auto at = elements.begin() + static_cast<std::ptrdiff_t>(index - k);
    moved.push_back(std::move(*at));
    elements.erase(at);
    ++k;
    if (index < destination) ++below;
  }
  const std::size_t position = std::min(destination - std::min(destination, below), elements.size());
  elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(position), std::make_move_iterator(moved.begin()),
                  std::make_move_iterator(moved.end()));
  return position;
}

}  // namespace orvelin
