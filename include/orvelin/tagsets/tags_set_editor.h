#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "orvelin/tagsets/tags_set.h"

namespace orvelin {

// The one way to change a stream's list of a TagsSet: each operation works on the list in
// place, at once, inside one will/did pair of the tag set's notifications (updateEntries());
// saving is separate. Indexes are positions in entries(stream), sections included.
//
// Main thread only, as the tag set. Keeps the tag set alive.
class TagsSetEditor {
 public:
  TagsSetEditor(std::shared_ptr<TagsSet> tagsSet, TagStream stream)
      : tagsSet_(std::move(tagsSet)), stream_(std::move(stream)) {}
  TagsSetEditor(const TagsSetEditor&) = delete;
  TagsSetEditor& operator=(const TagsSetEditor&) = delete;

  const std::shared_ptr<TagsSet>& tagsSet() const { return tagsSet_; }
  const TagStream& stream() const { return stream_; }

  // Inserts the entries, in order, before the one at `index` (the count appends); a stream
  // without list gets one first, even for no entries. REQUIRES: index <= count (the process
  // stops otherwise).
  void insertEntries(const std::vector<TagsSetEntry>& entries, std::ptrdiff_t index);
  // Removes the indexed entries (those out of range are ignored); a list left empty leaves the
  // tag set. Notifies even when the stream has no list.
  void removeEntry(const std::set<std::size_t>& indexes);
  // REQUIRES: 0 <= index < count (the process stops otherwise).
  void replaceEntry(const TagsSetEntry& entry, std::ptrdiff_t index);
  // Renames the section at `index`. Past the end or on a key: nothing, not even a notification.
  // REQUIRES: index >= 0 while the list has entries (the process stops otherwise).
  void renameSection(std::ptrdiff_t index, const std::string& name);
  // Moves the indexed entries together, in their order, before `target` (a position counted
  // before the move).
  void moveEntries(const std::set<std::size_t>& indexes, std::size_t target);
  // Swap with the next or the previous entry; out of range the list stays as it is, yet the
  // notifications are posted.
  void moveDownEntry(std::ptrdiff_t index);
  void moveUpEntry(std::ptrdiff_t index);
  // TagsSet::saveToUserDefaults().
  bool saveChangesToUserDefaults();

 private:
  const std::shared_ptr<TagsSet> tagsSet_;
  const TagStream stream_;
};

}  // namespace orvelin
