#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "orvelin/tags/tag_name.h"

namespace orvelin {

// The values of one file by tag name: a flat hash map kept in two arrays (the entries, and an
// open-addressed index of their hashes), so that a look-up touches a few cache lines rather
// than a tree's path. A table reads the same few tags out of thousands of these.
//
// Iteration follows no order (it is the order of insertion until an erase); sorted() gives the
// entries in TagName order. Equality ignores order. A plain value with no lock; any pointer or
// iterator into it is valid until it changes.
class TagValues {
 public:
  using value_type = std::pair<TagName, std::string>;
  using const_iterator = std::vector<value_type>::const_iterator;
  using iterator = const_iterator;

  TagValues() = default;
  TagValues(std::initializer_list<value_type> values);

  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

  // The value of `name`, null when absent.
  const std::string* find(const TagName& name) const;
  bool contains(const TagName& name) const { return find(name) != nullptr; }
  // The entries sorted by name.
  std::vector<const value_type*> sorted() const;
  // The names sorted.
  std::vector<TagName> sortedNames() const;

  void insert_or_assign(const TagName& name, std::string value);
  void erase(const TagName& name);
  void clear();

  friend bool operator==(const TagValues& lhs, const TagValues& rhs);

 private:
  // A slot holds 0 when free, else the entry's index + 1 in its low half and the upper half of
  // the name's hash in its high half (checked before the entry is touched).
  using Slot = std::uint64_t;

  static std::uint64_t hashOf(const TagName& name) { return std::hash<TagName>{}(name); }
  static Slot slotFor(std::uint64_t hash, std::size_t index) {
    return (hash & 0xffffffff00000000ULL) | static_cast<std::uint32_t>(index + 1);
  }
  static std::size_t indexIn(Slot slot) { return static_cast<std::uint32_t>(slot) - 1; }
  std::size_t mask() const { return slots_.size() - 1; }
  // The slot that holds `name`, or the free slot where it would go.
  std::size_t probe(const TagName& name, std::uint64_t hash) const;
  void rehash(std::size_t slotCount);

  std::vector<value_type> entries_;
  std::vector<Slot> slots_;  // a power of two in size, at most half full; empty when no entry was ever added
};

}  // namespace orvelin
