#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "orvelin/support/executor.h"

namespace orvelin {

// The bookkeeping of one run of TagsResourcesReader or TagsResourcesWriter: whether a run is
// under way, the units to do and done, and the names of the units done, in the order they
// ended. Every member takes the owner's "process queue" lock, which the owner passes at
// construction and which must outlive this object; none is called with that lock held.
class CatalogueRunCounter {
 public:
  explicit CatalogueRunCounter(std::mutex& processQueue) : countersLock_(processQueue) {}
  CatalogueRunCounter(const CatalogueRunCounter&) = delete;
  CatalogueRunCounter& operator=(const CatalogueRunCounter&) = delete;

  // Claims a run: false, changing nothing, when one is under way.
  bool begin();
  // Sets the units to do and forgets the units done and their names.
  void setTotal(std::int64_t total);
  // Counts one unit done; a non-empty `name` is kept in completedNames().
  void completeUnit(std::string_view name);
  // Ends the run once every unit is done: clears the run flag and both counters and returns
  // true. False when units are left, or when the run already ended (only one caller sees the end).
  bool finishIfComplete();

  bool isRunning() const;
  std::int64_t completedUnit() const;
  std::int64_t totalUnit() const;
  // completedUnit / totalUnit; 1.0 when totalUnit is 0.
  double progress() const;
  // The names of the units done since the run began; kept after it ends, until the next one.
  std::vector<std::string> completedNames() const;

  // Held around the end of a unit and its notifications (completeCatalogueUnit), so that these
  // are queued in the order the units were counted, the finish after every progress.
  std::mutex& unitEndLock() { return unitEndLock_; }

 private:
  double progressLocked() const;

  std::mutex& countersLock_;  // guards the fields below
  bool isRunning_ = false;
  std::int64_t completedUnit_ = 0;
  std::int64_t totalUnit_ = 0;
  std::vector<std::string> completedNames_;
  std::mutex unitEndLock_;
};

// Places `callback` of `owner`'s delegate asynchronously on `owner.delegationQueue`, with the
// owner as argument. Nothing happens when the delegate is gone, or when the owner's last
// shared_ptr has already been let go (the owner is being destroyed while its run ends): no
// callback then. The callback holds the owner (a shared_ptr) until it has run, on the delegation
// queue, never on the thread that calls this.
template <typename Owner, typename Delegate>
void notifyCatalogueDelegate(Owner& owner, void (Delegate::*callback)(Owner&)) {
  auto target = owner.delegate.lock();
  if (!target) return;
  auto self = owner.weak_from_this().lock();
  if (!self) return;
  owner.delegationQueue->async(
      [self = std::move(self), target = std::move(target), callback] { ((*target).*callback)(*self); });
}

// The end of one unit of a run: counts it, notifies `didProgress`, and when it was the last,
// ends the run and notifies `didFinish`.
template <typename Owner, typename Delegate>
void completeCatalogueUnit(Owner& owner, CatalogueRunCounter& counter, std::string_view name,
                           void (Delegate::*didProgress)(Owner&), void (Delegate::*didFinish)(Owner&)) {
  std::lock_guard lock(counter.unitEndLock());
  counter.completeUnit(name);
  notifyCatalogueDelegate(owner, didProgress);
  if (counter.finishIfComplete()) notifyCatalogueDelegate(owner, didFinish);
}

}  // namespace orvelin
