#include "orvelin/tags/tag_item.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {
namespace {

std::shared_ptr<const TagItem> makeItem(const char* type, std::int64_t count, bool isList,
                                        std::vector<std::string> values = {}, std::int64_t index = 0) {
  TagItemData data;
  data.index = index;
  data.stream = "EXIF";
  data.key = "Test";
  data.type = type;
  data.count = count;
  data.isList = isList;
  data.values = std::move(values);
  return TagItem::make(data);
}

TEST(TagItemArrays, ClassificationByTypeCountAndList) {
  struct Case {
    const char* type;
    std::int64_t count;
    bool isList;
    bool array, dynamic, fixed;
  };
  const Case cases[] = {
      {"string", 5, false, false, false, false},  {"string", 1, true, true, true, false},
      {"int16u", 3, false, true, false, true},    {"int16u", -1, false, true, true, false},
      {"int16u", 1, false, false, false, false},  {"int16u", 0, false, false, false, false},
      {"int16u", 2, true, true, true, false},     {"country3166a3", 3, false, false, false, false},
      {"rational64u", 3, false, true, false, true}, {"digits", -1, false, false, false, false},
      // Types that are not supported read as text: the count does not matter, the list flag does.
      {"undef", 4, false, false, false, false},   {"?", -1, true, true, true, false},
  };
  for (const auto& c : cases) {
    const auto item = makeItem(c.type, c.count, c.isList);
    ASSERT_TRUE(item);
    SCOPED_TRACE(std::string(c.type) + " count " + std::to_string(c.count) + (c.isList ? " list" : ""));
    EXPECT_EQ(item->isInArray(), c.array);
    EXPECT_EQ(item->isInDynamicArray(), c.dynamic);
    EXPECT_EQ(item->isInStaticArray(), c.fixed);
  }
}

// (The separators of lists and of fixed arrays show in the storage tests that read them.)
TEST(TagItemArrays, ConverterIsMadeOnceAndReadsUnsupportedTypesAsText) {
  const auto plain = makeItem("string", 5, false);
  EXPECT_EQ(plain->converter()->stringValueFromRawValue(Value("a b")), "a b");
  EXPECT_EQ(plain->converter(), plain->converter());  // made once
  // Types that are not supported read as exiftool prints them.
  EXPECT_EQ(makeItem("undef", 4, false)->converter()->stringValueFromRawValue(Value("0220")), "0220");
  EXPECT_EQ(makeItem("?", 0, false)->converter()->stringValueFromRawValue(Value(12.5)), "12.5");
}

TEST(TagItemVocabulary, IndexOfFallsBackToLeadingParts) {
  const auto models = makeItem("string", 0, false, {"Canon EOS", "Canon EOS 5D", "2.2", "a,b", ""});
  EXPECT_EQ(models->indexOf("Canon EOS 5D"), 1u);
  EXPECT_EQ(models->indexOf("Canon EOS 5D Mark IV"), 1u);
  EXPECT_EQ(models->indexOf("Canon EOS 7D"), 0u);
  EXPECT_EQ(models->indexOf("2.2.0.0"), 2u);
  EXPECT_EQ(models->indexOf("a,b,c"), 3u);
  EXPECT_EQ(models->indexOf("Nikon D70"), std::nullopt);
  EXPECT_EQ(models->indexOf(""), 4u);
  const auto noEmpty = makeItem("string", 0, false, {"x"});
  EXPECT_EQ(noEmpty->indexOf(""), std::nullopt);
  // A blank that occurs but finds nothing lets the point try.
  const auto versions = makeItem("string", 0, false, {"1"});
  EXPECT_EQ(versions->indexOf("1.5 beta"), 0u);
}

TEST(TagItemIdentity, OrderByIndexEqualityByIdentity) {
  auto a = makeItem("string", 0, false, {}, 5);
  auto b = makeItem("string", 0, false, {}, 2);
  auto c = makeItem("string", 0, false, {}, 5);
  std::vector<std::shared_ptr<const TagItem>> items{a, b, c};
  std::stable_sort(items.begin(), items.end(), [](const auto& lhs, const auto& rhs) { return *lhs < *rhs; });
  EXPECT_EQ(items[0], b);
  EXPECT_EQ(items[1], a);
  EXPECT_EQ(items[2], c);
  // Same record, different items: neither equal nor ordered, and hashed alike (stream and key).
  EXPECT_FALSE(*a == *c);
  EXPECT_TRUE(*a == *a);
  EXPECT_FALSE(*a < *c || *c < *a);
  EXPECT_EQ(std::hash<TagItem>{}(*a), std::hash<TagItem>{}(*c));
  TagItemData other = a->data();
  other.key = "Other";
  EXPECT_NE(std::hash<TagItem>{}(*a), std::hash<TagItem>{}(*TagItem::make(other)));
}

TEST(TagItemLocalisation, KeysAreStreamKeyAndValue) {
  // Without an entry in the catalogue, the keys themselves come back.
  const auto item = makeItem("int8u", 0, false, {"1", "2"});
  EXPECT_EQ(item->localizedName(), "EXIF:Test");
  EXPECT_EQ(item->localizedDescription(), "EXIF:Test (EXIF:Test)");
  EXPECT_EQ(item->localizedValues(), (std::vector<std::string>{"EXIF:Test:1", "EXIF:Test:2"}));
}

TEST(TagItemData, OptionalAndRequiredKeys) {
  const auto json = nlohmann::json::parse(
      R"({"index":1,"key":"Make","type":"string","values":[],"count":1,"isWritable":true,"isFlatten":false,"isList":false,"isBinary":false,"isUnsafe":false})");
  const auto data = json.get<TagItemData>();
  EXPECT_FALSE(data.stream);
  EXPECT_EQ(data.key, "Make");
  EXPECT_FALSE(TagItem::make(data));  // decodes, but makes no item
  auto missing = json;
  missing.erase("isUnsafe");
  EXPECT_THROW(missing.get<TagItemData>(), nlohmann::json::exception);
  // A count or an index must be a whole number of 64 bits.
  for (const char* key : {"count", "index"}) {
    for (const auto& wrong : {nlohmann::json("one"), nlohmann::json(1.7), nlohmann::json(true),
                              nlohmann::json(std::uint64_t{1} << 63), nlohmann::json(1e19)}) {
      auto wrongKind = json;
      wrongKind[key] = wrong;
      EXPECT_THROW(wrongKind.get<TagItemData>(), nlohmann::json::exception) << key << " " << wrong.dump();
    }
  }
  auto negative = json;
  negative["count"] = -1;
  EXPECT_EQ(negative.get<TagItemData>().count, -1);
  auto whole = json;
  whole["index"] = 7.0;
  EXPECT_EQ(whole.get<TagItemData>().index, 7);
  // A type that is no TagType (exiftool's "?", a storage format) is kept as unknown, never
  // writable whatever the record says.
  auto badType = json;
  badType["stream"] = "EXIF";
  badType["type"] = "Date";
  const auto unknown = TagItem::make(badType.get<TagItemData>());
  ASSERT_TRUE(unknown);
  EXPECT_EQ(unknown->type, TagType::unknown);
  EXPECT_FALSE(unknown->isWritable);

  // The optional keys are written only when present, the others always.
  TagItemData bare;
  EXPECT_EQ(nlohmann::ordered_json(bare).dump(),
            R"({"values":[],"count":0,"isWritable":false,"isFlatten":false,"isList":false,"isBinary":false,"isUnsafe":false})");
  const auto full = makeItem("int16u", 3, true, {"1"}, 7)->data();
  EXPECT_EQ(nlohmann::json(full).get<TagItemData>(), full);
  EXPECT_EQ(nlohmann::json::parse(nlohmann::ordered_json(full).dump()).get<TagItemData>(), full);
}

}  // namespace
}  // namespace orvelin
