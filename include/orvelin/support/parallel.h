#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <unordered_set>
#include <vector>

namespace orvelin {

// Runs body(0) ... body(iterations - 1) in parallel on the calling thread and the threads of
// the process's shared worker pool (one per core), and returns when all are done. The caller
// takes part, so nested calls from inside a body make progress and never deadlock. The first
// exception a body throws is rethrown to the caller once every started iteration has ended;
// the iterations not yet started are then skipped.
void concurrentPerform(std::size_t iterations, const std::function<void(std::size_t)>& body);

// Number of threads of the shared worker pool (the number of cores, at least 1).
std::size_t workerPoolWidth();

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

// Moves the elements at `indexes` together, in their former relative order, to `destination`
// (a position counted before the move), and returns the position where the moved block now
// begins. Indexes are taken in ascending order, duplicates and out-of-range ones ignored; a
// destination beyond the end is clamped to it.
template <typename T>
std::size_t move(std::vector<T>& elements, std::vector<std::size_t> indexes, std::size_t destination) {
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
