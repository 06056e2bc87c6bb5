#include "orvelin/storage/read_only_storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

TEST(ReadOnlyStorage, KeepsTheReadersOrderAndTheFirstValue) {
  ReadOnlyStorage storage("/a/b.jpg");
  storage.store(TagStream::exif, TagStream("IFD0"));
  storage.store(TagStream::exif, TagStream("ExifIFD"));  // a known family 0 stream adds nothing
  storage.store(TagStream::file, TagStream("System"));
  storage.store("Canon", TagName::fromRawValue("EXIF:Make").value());
  storage.store("Nikon", TagName::fromRawValue("EXIF:Make").value());
  storage.store("", TagName::fromRawValue("EXIF:Artist").value());
  storage.store("lost", TagName::fromRawValue("IPTC:Keywords").value());  // never registered

  EXPECT_THAT(storage.streams(), ElementsAre(TagStream::exif, TagStream::file));
  EXPECT_THAT(storage.keys(TagStream::exif), ElementsAre(TagKey::make, TagKey::artist));
  EXPECT_EQ(storage.value(TagKey::make, TagStream::exif), "Canon");
  EXPECT_TRUE(storage.hasValue(TagName("EXIF", "Artist")));  // an empty text is a value
  EXPECT_FALSE(storage.hasValue(TagName::iptcKeywords));
  EXPECT_FALSE(storage.containsStream(TagStream::iptc));
  EXPECT_TRUE(storage.containsStream(TagStream::file));
  EXPECT_EQ(storage.valuesCount(TagStream::file), 0u);
  EXPECT_EQ(storage.valuesCount(TagStream::iptc), 0u);
  EXPECT_EQ(storage.key(1, TagStream::exif), TagKey::artist);
  EXPECT_EQ(storage.value(0, TagStream::exif), "Canon");
  EXPECT_EQ(storage.key(7, TagStream::iptc), std::nullopt);
  EXPECT_THAT(storage.generateValuesArray(),
              ElementsAre(Pair(TagName("EXIF", "Make"), "Canon"), Pair(TagName("EXIF", "Artist"), "")));
  EXPECT_EQ(storage.generateValuesDict().size(), 2u);

  ReadOnlyStorage copy = storage;  // a value: the copy is independent
  copy.store("x", TagName("EXIF", "Model"));
  EXPECT_EQ(storage.valuesCount(TagStream::exif), 2u);
  EXPECT_EQ(copy.valuesCount(TagStream::exif), 3u);
}

}  // namespace
}  // namespace orvelin
