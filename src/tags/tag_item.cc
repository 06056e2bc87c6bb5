#include "orvelin/tags/tag_item.h"

#include <cmath>
#include <cstdint>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "orvelin/support/localization.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

// The keys in the catalogue's order; a plain nlohmann::json sorts them anyway.
template <typename Json>
void encode(Json& json, const TagItemData& data) {
  json = Json::object();
  if (data.index) json["index"] = *data.index;
  if (data.stream) json["stream"] = *data.stream;
  if (data.key) json["key"] = *data.key;
  if (data.type) json["type"] = *data.type;
  json["values"] = data.values;
  json["count"] = data.count;
  json["isWritable"] = data.isWritable;
  json["isFlatten"] = data.isFlatten;
  json["isList"] = data.isList;
  json["isBinary"] = data.isBinary;
  json["isUnsafe"] = data.isUnsafe;
}

// A whole number of the signed 64-bit range, as a JSON decoder takes it: 7 and 7.0 are 7, while
// 1.7, numbers out of range, booleans and texts fail (nlohmann's own conversion would cut 1.7 to 1
// and wrap numbers above the range).
std::int64_t integer(const nlohmann::json& value) {
  if (value.is_number_unsigned() && value.get<std::uint64_t>() <= std::uint64_t{INT64_MAX})
    return value.get<std::int64_t>();
  if (value.is_number_integer() && !value.is_number_unsigned()) return value.get<std::int64_t>();
  if (value.is_number_float()) {
    const double number = value.get<double>();
    // 2^63 is the first double above the range.
    if (std::trunc(number) == number && number >= -0x1p63 && number < 0x1p63) return static_cast<std::int64_t>(number);
  }
  throw nlohmann::json::type_error::create(302, "type must be an integer of 64 bits, but is " + value.dump(), &value);
}

}  // namespace

void to_json(nlohmann::json& json, const TagItemData& data) { encode(json, data); }

void to_json(nlohmann::ordered_json& json, const TagItemData& data) { encode(json, data); }

void from_json(const nlohmann::json& json, TagItemData& data) {
  auto optional = [&json]<typename T>(const char* key, std::optional<T>& field) {
    const auto found = json.find(key);
    if (found == json.end() || found->is_null())
      field.reset();
    else if constexpr (std::is_same_v<T, std::int64_t>)
      field = integer(*found);
    else
      field = found->template get<T>();
  };
  optional("index", data.index);
  optional("stream", data.stream);
  optional("key", data.key);
  optional("type", data.type);
  json.at("values").get_to(data.values);
  data.count = integer(json.at("count"));
  json.at("isWritable").get_to(data.isWritable);
  json.at("isFlatten").get_to(data.isFlatten);
  json.at("isList").get_to(data.isList);
  json.at("isBinary").get_to(data.isBinary);
  json.at("isUnsafe").get_to(data.isUnsafe);
}

std::shared_ptr<const TagItem> TagItem::make(const TagItemData& data) {
  if (!data.index || !data.stream || !data.key || !data.type) return nullptr;
  // exiftool gives "?" where it knows no type, and storage formats (int16s, float...) that are
  // no TagType: such a tag is still read, as text.
  const auto type = TagType::fromRawValue(*data.type).value_or(TagType::unknown);
  return std::make_shared<const TagItem>(*data.index, TagName(*data.stream, *data.key), type, data.values, data.count,
                                         data.isWritable, data.isFlatten, data.isBinary, data.isList, data.isUnsafe);
}

namespace {

// 0 no array, 1 dynamic, 2 static. A type that is not supported is read as text, so its count
// does not matter either.
int arrayIndex(TagType type, bool isList, std::int64_t count) {
  if (type.ignoreCount() || !type.isSupported()) return isList ? 1 : 0;
  if (isList) return 1;
  if (count == -1) return 1;
  if (count < 2) return 0;
  return 2;
}

}  // namespace

TagItem::TagItem(std::int64_t index, TagName name, TagType type, std::vector<std::string> values, std::int64_t count,
                 bool isWritable, bool isFlatten, bool isBinary, bool isList, bool isUnsafe)
    : index(index),
      name(std::move(name)),
      type(type),
      values(std::move(values)),
      count(count),
      isWritable(isWritable && type.isSupported()),
      isFlatten(isFlatten),
      isBinary(isBinary),
      isList(isList),
      isUnsafe(isUnsafe),
      arrayKind_(static_cast<ArrayKind>(arrayIndex(type, isList, count))) {}

const std::shared_ptr<const ValueConverter>& TagItem::converter() const {
  std::call_once(converterOnce_, [this] {
    auto single = type.isSupported() ? type.converter() : TagType(TagType::string).converter();
    switch (arrayKind_) {
      case ArrayKind::none: converter_ = std::move(single); break;
      case ArrayKind::dynamic: converter_ = std::make_shared<const ArrayValueConverter>(std::move(single), ","); break;
      case ArrayKind::fixed: converter_ = std::make_shared<const ArrayValueConverter>(std::move(single), " "); break;
    }
  });
  return converter_;
}

const std::string& TagItem::localizedName() const {
  std::call_once(nameOnce_, [this] { localizedName_ = ORVTL(name.stream().rawValue(), name.rawValue()); });
  return localizedName_;
}

std::string TagItem::localizedDescription() const { return localizedName() + " (" + name.rawValue() + ")"; }

const std::vector<std::string>& TagItem::localizedValues() const {
  std::call_once(valuesOnce_, [this] {
    const auto prefix = name.rawValue() + ":";
    std::vector<std::string> texts;
    texts.reserve(values.size());
    for (const auto& value : values) texts.push_back(ORVTL(name.stream().rawValue(), prefix + value));
    localizedValues_ = std::move(texts);
  });
  return localizedValues_;
}

std::optional<std::size_t> TagItem::indexOf(std::string_view value) const {
  auto find = [this](std::string_view text) -> std::optional<std::size_t> {
    for (std::size_t i = 0; i < values.size(); ++i)
      if (values[i] == text) return i;
    return std::nullopt;
  };
  if (auto exact = find(value)) return exact;
  if (value.empty()) return std::nullopt;
  for (std::string_view separator : {" ", ".", ","}) {
    // The positions where the text can be cut: at each separator, from the last to the first.
    std::vector<std::size_t> cuts;
    for (auto at = value.find(separator); at != std::string_view::npos; at = value.find(separator, at + 1))
      cuts.push_back(at);
    // Joining all parts gives the text itself, which was already tried; then drop the last
    // part, one at a time. The first separator that finds an entry decides.
    for (auto cut = cuts.rbegin(); cut != cuts.rend(); ++cut)
      if (auto found = find(value.substr(0, *cut))) return found;
  }
  return std::nullopt;
}

TagItemData TagItem::data() const {
  TagItemData data;
  data.index = index;
  data.stream = name.stream().rawValue();
  data.key = name.key().rawValue();
  data.type = std::string(type.rawValue());
  data.values = values;
  data.count = count;
  data.isWritable = isWritable;
  data.isFlatten = isFlatten;
  data.isList = isList;
  data.isBinary = isBinary;
  data.isUnsafe = isUnsafe;
  return data;
}

}  // namespace orvelin
