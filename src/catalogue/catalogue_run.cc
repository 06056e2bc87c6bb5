#include "orvelin/catalogue/catalogue_run.h"

namespace orvelin {

bool CatalogueRunCounter::begin() {
  std::lock_guard lock(countersLock_);
  if (isRunning_) return false;
  isRunning_ = true;
  return true;
}

void CatalogueRunCounter::setTotal(std::int64_t total) {
  std::lock_guard lock(countersLock_);
  completedUnit_ = 0;
  totalUnit_ = total;
  completedNames_.clear();
}

void CatalogueRunCounter::completeUnit(std::string_view name) {
  std::lock_guard lock(countersLock_);
  ++completedUnit_;
  if (!name.empty()) completedNames_.emplace_back(name);
}

bool CatalogueRunCounter::finishIfComplete() {
  std::lock_guard lock(countersLock_);
  if (!isRunning_ || progressLocked() < 1.0) return false;
  isRunning_ = false;
  completedUnit_ = 0;
  totalUnit_ = 0;
  return true;
}

bool CatalogueRunCounter::isRunning() const {
  std::lock_guard lock(countersLock_);
  return isRunning_;
}

std::int64_t CatalogueRunCounter::completedUnit() const {
  std::lock_guard lock(countersLock_);
  return completedUnit_;
}

std::int64_t CatalogueRunCounter::totalUnit() const {
  std::lock_guard lock(countersLock_);
  return totalUnit_;
}

double CatalogueRunCounter::progress() const {
  std::lock_guard lock(countersLock_);
  return progressLocked();
}

std::vector<std::string> CatalogueRunCounter::completedNames() const {
  std::lock_guard lock(countersLock_);
  return completedNames_;
}

double CatalogueRunCounter::progressLocked() const {
  if (totalUnit_ == 0) return 1.0;
  return static_cast<double>(completedUnit_) / static_cast<double>(totalUnit_);
}

}  // namespace orvelin
