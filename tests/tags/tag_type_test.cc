#include "orvelin/tags/tag_type.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "orvelin/tags/tag_access.h"
#include "orvelin/values/value.h"

namespace orvelin {
namespace {

TEST(TagType, RawValuesCrossForTheTwoDateCases) {
  EXPECT_EQ(TagType::fromRawValue("date"), TagType::dateTime);
  EXPECT_EQ(TagType::fromRawValue("datetime"), TagType::date);
  EXPECT_EQ(TagType::fromRawValue("Date"), std::nullopt);
  EXPECT_EQ(TagType::fromRawValue("?"), std::nullopt);
  EXPECT_EQ(TagType(TagType::langAlt).rawValue(), "lang-alt");
  EXPECT_EQ(nlohmann::json(TagType(TagType::date)).dump(), "\"datetime\"");
  EXPECT_EQ(nlohmann::json::parse("\"date\"").get<TagType>(), TagType::dateTime);
  EXPECT_THROW(nlohmann::json::parse("\"Date\"").get<TagType>(), std::exception);
  for (std::size_t i = 0; i < TagType::caseCount; ++i) {
    const TagType type = static_cast<TagType::Value>(i);
    EXPECT_EQ(TagType::fromRawValue(type.rawValue()), type) << type.rawValue();
  }
}

TEST(TagType, Predicates) {
  EXPECT_TRUE(TagType(TagType::speed).isRational());
  EXPECT_FALSE(TagType(TagType::real).isRational());
  EXPECT_TRUE(TagType(TagType::real).isFloat());
  EXPECT_FALSE(TagType(TagType::rational64u).isSigned());
  EXPECT_TRUE(TagType(TagType::rational).isSigned());
  EXPECT_FALSE(TagType(TagType::int32u).isSigned());
  EXPECT_TRUE(TagType(TagType::integer).isSigned());
  const TagType boolean = TagType::boolean;
  EXPECT_TRUE(boolean.isSupported());
  EXPECT_FALSE(boolean.isNumber());
  EXPECT_FALSE(boolean.minimumNumberValue());
  EXPECT_TRUE(TagType(TagType::string).allowsFloats());
  EXPECT_FALSE(TagType(TagType::int8u).allowsFloats());
  EXPECT_TRUE(TagType(TagType::rational64s).allowsFloats());
  for (auto unsupported : {TagType::unknown, TagType::undef, TagType::note, TagType::imageData})
    EXPECT_FALSE(TagType(unsupported).isSupported());
  EXPECT_TRUE(TagType(TagType::country3166a3).ignoreCount());
  EXPECT_TRUE(TagType(TagType::longString).ignoreCount());
  EXPECT_FALSE(TagType(TagType::int16u).ignoreCount());
  EXPECT_TRUE(TagType(TagType::date).isDateTime() && TagType(TagType::dateTime).isDateTime());
  EXPECT_TRUE(TagType(TagType::digitsDate).isDate());
  EXPECT_TRUE(TagType(TagType::digitsTime).isTime());
  EXPECT_TRUE(TagType(TagType::partialTime).isDateConvertible());
  EXPECT_FALSE(TagType(TagType::string).isDateConvertible());
}

TEST(TagType, NumberBounds) {
  EXPECT_EQ(TagType(TagType::int8u).maximumNumberValue(), Value(std::uint64_t{255}));
  EXPECT_EQ(TagType(TagType::int16u).maximumNumberValue(), Value(std::uint64_t{65535}));
  EXPECT_EQ(TagType(TagType::int32u).maximumNumberValue(), Value(std::uint64_t{4294967295u}));
  EXPECT_EQ(TagType(TagType::int32s).minimumNumberValue(), Value(std::int64_t{-2147483648LL}));
  EXPECT_EQ(TagType(TagType::real).maximumNumberValue(), Value(static_cast<double>(std::numeric_limits<float>::max())));
  EXPECT_EQ(TagType(TagType::speed).minimumNumberValue(), Value(0.0));
  EXPECT_EQ(TagType(TagType::rational64s).minimumNumberValue(), Value(-std::numeric_limits<double>::max()));
  EXPECT_FALSE(TagType(TagType::string).maximumNumberValue());
  EXPECT_FALSE(TagType(TagType::digits).minimumNumberValue());
}

TEST(TagAccess, RawValuesAndRights) {
  EXPECT_EQ(TagAccess::fromRawValue("RWC"), TagAccess::rwc);
  EXPECT_EQ(TagAccess::fromRawValue("rw"), std::nullopt);
  EXPECT_TRUE(TagAccess(TagAccess::rwc).canBeEdited());
  EXPECT_TRUE(TagAccess(TagAccess::rw).canBeEdited());
  EXPECT_FALSE(TagAccess(TagAccess::r).canBeEdited());
  EXPECT_TRUE(TagAccess(TagAccess::r).canBeRead());
  EXPECT_FALSE(TagAccess(TagAccess::n).canBeRead());
  EXPECT_THROW(TagAccess::decodeAccessTable(nlohmann::json::parse(R"({"JPEG":{"EXIF":"W"}})")), std::exception);
  const auto table = TagAccess::decodeAccessTable(nlohmann::json::parse(R"({"JPEG":{"EXIF":"RWC","File":"R"}})"));
  EXPECT_EQ(table.at("JPEG").at("File"), TagAccess::r);
}

TEST(TagAccess, LooksUpTheUpperCasedFileType) {
  // The table shipped with the library.
  EXPECT_EQ(TagAccess::access("jpeg", TagStream::exif), TagAccess::rwc);
  EXPECT_EQ(TagStream::exif.access("jpg"), TagAccess::rwc);
  EXPECT_EQ(TagStream::xmp.access("Tif"), TagAccess::rwc);
  EXPECT_EQ(TagStream::exif.access("nosuchtype"), TagAccess::n);
  EXPECT_EQ(TagAccess::access("nosuchtype", TagStream::exif), std::nullopt);
  // The stream is looked up as it stands.
  EXPECT_EQ(TagStream("exif").access("JPEG"), TagAccess::n);
  EXPECT_EQ(TagAccess::access("JPEG", TagStream("NoSuchStream")), std::nullopt);
}

}  // namespace
}  // namespace orvelin
