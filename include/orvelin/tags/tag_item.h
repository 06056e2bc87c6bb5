#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "orvelin/tags/tag_name.h"
#include "orvelin/tags/tag_type.h"

namespace orvelin {

// One record of the catalogue as it stands in a ".tags" file. Coded in JSON with the keys
// "index", "stream", "key", "type" (each optional: written only when present, absent when
// missing or null) and "values", "count", "isWritable", "isFlatten", "isList", "isBinary",
// "isUnsafe" (required). Decoding throws nlohmann::json exceptions when a required key is
// missing or any key has the wrong kind of value: "index" and "count" must be integers of the
// signed 64-bit range (1.7 is none), "values" an array of texts.
// Encoding into an ordered_json keeps the keys in the order above; nlohmann::json sorts them.
struct TagItemData {
  std::optional<std::int64_t> index;
  std::optional<std::string> stream;
  std::optional<std::string> key;
  std::optional<std::string> type;
  std::vector<std::string> values;
  std::int64_t count = 0;
  bool isWritable = false;
  bool isFlatten = false;
  bool isList = false;
  bool isBinary = false;
  bool isUnsafe = false;

  friend bool operator==(const TagItemData&, const TagItemData&) = default;
};

void to_json(nlohmann::json& json, const TagItemData& data);
void to_json(nlohmann::ordered_json& json, const TagItemData& data);
void from_json(const nlohmann::json& json, TagItemData& data);

// What the catalogue knows of one tag: type, vocabulary, count, writability and flags.
//
// A tag whose type is not supported (unknown, undef, note, imagedata, and any text that is no
// TagType, which reads as unknown) is kept for reading: its values are read as text with the
// string converter, as a string's would be, and it is never writable, whatever its record says.
//
// One instance per tag, shared by std::shared_ptr and immutable but for two lazily filled
// caches (the localised name and values), which are safe to read from many threads.
// Identity: two items are equal only when they are the same object (==); `<` compares `index`
// alone, so two items with the same index are neither less nor equal; std::hash<TagItem> hashes
// the stream's and the key's texts of `name`.
class TagItem {
 public:
  // Absent when `index`, `stream`, `key` or `type` is missing. A type text that is no TagType
  // raw value (exiftool's "?", a storage format) gives TagType::unknown.
  static std::shared_ptr<const TagItem> make(const TagItemData& data);

  TagItem(std::int64_t index, TagName name, TagType type, std::vector<std::string> values, std::int64_t count,
          bool isWritable, bool isFlatten, bool isBinary, bool isList, bool isUnsafe);
  TagItem(const TagItem&) = delete;
  TagItem& operator=(const TagItem&) = delete;

  const std::int64_t index;
  const TagName name;
  const TagType type;
  const std::vector<std::string> values;  // raw texts of the enumerated values; empty when free
  const std::int64_t count;               // fixed array length; -1 variable; 0 or 1 single value
  const bool isWritable;  // exiftool writes it and its type is supported
  const bool isFlatten;
  const bool isBinary;
  const bool isList;
  const bool isUnsafe;

  // Array classification: a list, a count of -1 (dynamic), or a count of 2 or more (static);
  // strings, countries and the types that are not supported go by isList alone.
  bool isInArray() const { return arrayKind_ != ArrayKind::none; }
  bool isInStaticArray() const { return arrayKind_ == ArrayKind::fixed; }
  bool isInDynamicArray() const { return arrayKind_ == ArrayKind::dynamic; }

  // type.converter() (the string converter for a type that is not supported), wrapped for
  // arrays: separator "," for a dynamic array, " " for a static one. Made once per item.
  const std::shared_ptr<const ValueConverter>& converter() const;

  // The tag's name in the current localisation (table: the stream, key "stream:key"),
  // computed at first use and kept.
  const std::string& localizedName() const;
  // localizedName() + " (stream:key)", e.g. "Make (EXIF:Make)".
  std::string localizedDescription() const;
  // The localised texts of `values` (key "stream:key:value"), computed at first use and kept.
  const std::vector<std::string>& localizedValues() const;

  // The position of `value` in `values`; else, for a non-empty text, of the longest leading
  // part of it (split at " ", then ".", then ",") that is an entry: "Canon EOS 5D Mark IV"
  // finds "Canon EOS 5D".
  std::optional<std::size_t> indexOf(std::string_view value) const;

  // The item as a catalogue record.
  TagItemData data() const;

  friend bool operator==(const TagItem& lhs, const TagItem& rhs) { return &lhs == &rhs; }
  friend bool operator<(const TagItem& lhs, const TagItem& rhs) { return lhs.index < rhs.index; }

 private:
  enum class ArrayKind : std::uint8_t { none, dynamic, fixed };

  const ArrayKind arrayKind_;
  mutable std::once_flag converterOnce_, nameOnce_, valuesOnce_;
  mutable std::shared_ptr<const ValueConverter> converter_;
  mutable std::string localizedName_;
  mutable std::vector<std::string> localizedValues_;
};

}  // namespace orvelin

template <>
struct std::hash<orvelin::TagItem> {
  std::size_t operator()(const orvelin::TagItem& item) const noexcept {
    const std::size_t stream = std::hash<std::string>{}(item.name.stream().rawValue());
    const std::size_t key = std::hash<std::string>{}(item.name.key().rawValue());
    return stream ^ (key + 0x9e3779b97f4a7c15ULL + (stream << 6) + (stream >> 2));
  }
};
