#pragma once

#include <filesystem>

#include "orvelin/tags/tag_name.h"

namespace orvelin {

// What a metadata reader fills: it announces the pairs of streams it meets, then stores values
// one at a time. Both storages implement it.
//
// A storage has no lock of its own: one thread fills it (the reader's), and whoever owns it
// afterwards guards it (an editor, with its lock).
class GenericStorage {
 public:
  virtual ~GenericStorage() = default;

  // The file the values come from.
  virtual const std::filesystem::path& sourceFileURL() const = 0;
  // Whether a value is stored under `name` already.
  virtual bool hasValue(const TagName& name) const = 0;
  // Fetches the file's Finder tags into the storage, where the storage keeps any. Throws
  // std::filesystem::filesystem_error when they cannot be read.
  virtual void readFinderTags() = 0;
  // A pair of streams met in the file: the family 0 and family 1 groups of the tags that follow.
  virtual void store(const TagStream& g0Stream, const TagStream& g1Stream) = 0;
  // One value.
  virtual void store(const std::string& value, const TagName& name) = 0;
};

}  // namespace orvelin
