#include "orvelin/storage/tag_values.h"

#include <algorithm>

namespace orvelin {

TagValues::TagValues(std::initializer_list<value_type> values) {
  for (const auto& [name, value] : values) insert_or_assign(name, value);
}

std::size_t TagValues::probe(const TagName& name, std::uint64_t hash) const {
  const std::uint64_t high = hash & 0xffffffff00000000ULL;
  for (std::size_t at = hash & mask();; at = (at + 1) & mask()) {
    const Slot slot = slots_[at];
    if (slot == 0) return at;
    if ((slot & 0xffffffff00000000ULL) == high && entries_[indexIn(slot)].first == name) return at;
  }
}

const std::string* TagValues::find(const TagName& name) const {
  if (entries_.empty()) return nullptr;
  const Slot slot = slots_[probe(name, hashOf(name))];
  return slot == 0 ? nullptr : &entries_[indexIn(slot)].second;
}

std::vector<const TagValues::value_type*> TagValues::sorted() const {
  std::vector<const value_type*> sorted;
  sorted.reserve(entries_.size());
  for (const auto& entry : entries_) sorted.push_back(&entry);
  std::sort(sorted.begin(), sorted.end(), [](const value_type* lhs, const value_type* rhs) { return lhs->first < rhs->first; });
  return sorted;
}

std::vector<TagName> TagValues::sortedNames() const {
  std::vector<TagName> names;
  names.reserve(entries_.size());
  for (const auto* entry : sorted()) names.push_back(entry->first);
  return names;
}

void TagValues::rehash(std::size_t slotCount) {
  slots_.assign(slotCount, 0);
  for (std::size_t index = 0; index < entries_.size(); ++index) {
    const auto hash = hashOf(entries_[index].first);
    slots_[probe(entries_[index].first, hash)] = slotFor(hash, index);
  }
}

void TagValues::insert_or_assign(const TagName& name, std::string value) {
  if ((entries_.size() + 1) * 2 > slots_.size()) rehash(std::max<std::size_t>(16, slots_.size() * 2));
  const auto hash = hashOf(name);
  const auto at = probe(name, hash);
  if (slots_[at] != 0) {
    entries_[indexIn(slots_[at])].second = std::move(value);
    return;
  }
  slots_[at] = slotFor(hash, entries_.size());
  entries_.emplace_back(name, std::move(value));
}

void TagValues::erase(const TagName& name) {
  if (entries_.empty()) return;
  auto at = probe(name, hashOf(name));
  if (slots_[at] == 0) return;
  const std::size_t index = indexIn(slots_[at]);

  // Backward-shift deletion: move up each later slot of the run that may sit in the freed one.
  for (std::size_t next = (at + 1) & mask(); slots_[next] != 0; next = (next + 1) & mask()) {
    const std::size_t home = hashOf(entries_[indexIn(slots_[next])].first) & mask();
    // The entry at `next` may move to `at` when its home is not in the cyclic range (at, next].
    const bool homeBetween = at <= next ? (at < home && home <= next) : (at < home || home <= next);
    if (homeBetween) continue;
    slots_[at] = slots_[next];
    at = next;
  }
  slots_[at] = 0;

  // The last entry takes the erased one's place in the array.
  const std::size_t last = entries_.size() - 1;
  if (index != last) {
    const auto& moved = entries_[last].first;
    const auto movedHash = hashOf(moved);
    slots_[probe(moved, movedHash)] = slotFor(movedHash, index);
    entries_[index] = std::move(entries_[last]);
  }
  entries_.pop_back();
}

void TagValues::clear() {
  entries_.clear();
  std::fill(slots_.begin(), slots_.end(), 0);
}

bool operator==(const TagValues& lhs, const TagValues& rhs) {
  if (lhs.size() != rhs.size()) return false;
  return std::all_of(lhs.begin(), lhs.end(), [&rhs](const TagValues::value_type& entry) {
    const auto* value = rhs.find(entry.first);
    return value && *value == entry.second;
  });
}

}  // namespace orvelin
