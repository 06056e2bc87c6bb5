// The operations built on the editor's slots: values, Finder tags, edits with intent, dates,
// presets, GPS and image facts, on editors over storages filled here (file type "jpg", whose
// streams EXIF and IPTC are editable and File readable).

#include "orvelin/editor/metadata_editor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "common/editors.h"
#include "common/test_support.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/editor_dates.h"
#include "orvelin/editor/editor_editions.h"
#include "orvelin/editor/editor_finder_tags.h"
#include "orvelin/editor/editor_gps.h"
#include "orvelin/editor/editor_image_facts.h"
#include "orvelin/editor/editor_values.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {
namespace {

using testing::editorOf;
using testing::tag;
using SessionRecorder = testing::EventRecorder;

class EditorOperations : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { TagsResources::shared().reload(); }
};

const DateTimeValueConverter dateText;

// ---------------------------------------------------------------------------------------------
// Values and Finder tags

TEST_F(EditorOperations, ClearRestoreAndTypedValues) {
  const auto make = tag("EXIF:Make"), fNumber = tag("EXIF:FNumber"), createDate = tag("EXIF:CreateDate");
  auto editor = editorOf({{"EXIF:Make", "Canon"}, {"EXIF:FNumber", "5.6"}});
  clearValues(*editor, {make, fNumber});
  EXPECT_EQ(editor->writtenTagNames().size(), 2u);
  restoreValues(*editor, {make, fNumber});
  EXPECT_FALSE(editor->isEdited());

  const auto fNumberItem = TagsResources::shared().tag(fNumber);
  ASSERT_TRUE(fNumberItem);
  EXPECT_EQ(currentRawValue(*editor, *fNumberItem), Value(5.6));
  clearValue(*editor, fNumber);
  EXPECT_EQ(currentRawValue(*editor, *fNumberItem), std::nullopt);  // "" is no number
  setRawValue(*editor, Value(8), *fNumberItem);
  EXPECT_EQ(editor->currentValue(fNumber), "8.00000000");
  // A raw value the converter refuses is a restore, not a clear.
  setRawValue(*editor, Value("eight"), *fNumberItem);
  EXPECT_FALSE(editor->isValueEdited(fNumber));
  setValue(*editor, std::string("2.8"), *fNumberItem);
  setRawValue(*editor, std::nullopt, *fNumberItem);
  EXPECT_EQ(editor->currentValue(fNumber), "5.6");

  const auto createItem = TagsResources::shared().tag(createDate);
  const auto date = dateText.typedValueFromStringValue("2021:03:04 10:11:12");
  setRawValue(*editor, Value(*date), *createItem);
  EXPECT_EQ(editor->currentValue(createDate), "2021:03:04 10:11:12");
  EXPECT_EQ(currentRawValue(*editor, *createItem), Value(*date));
}

TEST_F(EditorOperations, FinderTagsAndKeywords) {
  testing::ScratchFolder folder;
  const auto url = folder / "tagged.jpg";
  testing::writeFile(url, "not an image");
  testing::setFinderTags(url, {"red", "trip"});
  ReadWriteStorage storage(url);
  storage.store("jambalaya", TagName::iptcKeywords);
  storage.readFinderTags();
  auto editor = MetadataEditor::create(std::move(storage));

  EXPECT_TRUE(areOriginalFinderTags(*editor));
  EXPECT_EQ(currentFinderTags(*editor), (std::vector<std::string>{"red", "trip"}));
  copyFinderTagsToIPTCKeywords(*editor);
  EXPECT_EQ(editor->currentValue(TagName::iptcKeywords), "red,trip");

  editor->setValue(std::string("a, b ,c"), TagName::iptcKeywords);
  copyIPTCKeywordsToFinderTags(*editor);
  EXPECT_FALSE(areOriginalFinderTags(*editor));
  EXPECT_EQ(currentFinderTags(*editor), (std::vector<std::string>{"a", "b", "c"}));
  restoreFinderTags(*editor);
  EXPECT_EQ(currentFinderTags(*editor), (std::vector<std::string>{"red", "trip"}));

  // No keywords at all: pending Finder tags go, those of the file stay.
  editor->setFinderTags(std::vector<std::string>{"blue"});
  clearValue(*editor, TagName::iptcKeywords);
  copyIPTCKeywordsToFinderTags(*editor);
  EXPECT_TRUE(areOriginalFinderTags(*editor));
  EXPECT_EQ(currentFinderTags(*editor), (std::vector<std::string>{"red", "trip"}));
  // No Finder tags: the empty list is stored as it converts, a clear.
  editor->setFinderTags(std::vector<std::string>{});
  restoreValue(*editor, TagName::iptcKeywords);
  copyFinderTagsToIPTCKeywords(*editor);
  EXPECT_EQ(editor->writtenValue(TagName::iptcKeywords), "");
}

// ---------------------------------------------------------------------------------------------
// Clear and restore of streams

TEST_F(EditorOperations, ClearAllAndRestoreAllOnAFile) {
  auto editor = editorOf({{"EXIF:Make", "Canon"}, {"EXIF:ExifImageWidth", "100"}, {"IPTC:City", "Kingston"},
                          {"IPTC:Headline", "News"}, {"File:ImageWidth", "8"}});
  clearAll(*editor, TagStream::iptc);
  EXPECT_EQ(editor->writtenTagNames(), (std::vector<TagName>{tag("IPTC:City"), tag("IPTC:Headline")}));
  clearAll(*editor, TagStream::xmp);  // a stream the file lacks
  EXPECT_EQ(editor->writtenTagNames().size(), 2u);
  clearAll(*editor);
  // File:ImageWidth cannot be edited and stays.
  EXPECT_EQ(editor->writtenTagNames().size(), 4u);
  EXPECT_EQ(editor->currentValue(tag("File:ImageWidth")), "8");
  restoreAll(*editor, TagStream::exif);
  EXPECT_EQ(editor->writtenTagNames(), (std::vector<TagName>{tag("IPTC:City"), tag("IPTC:Headline")}));
  editor->setFinderTags(std::vector<std::string>{"kept"});
  restoreAll(*editor);
  EXPECT_TRUE(editor->writtenTagNames().empty());
  EXPECT_EQ(editor->writtenFinderTags(), (std::vector<std::string>{"kept"}));
}

TEST_F(EditorOperations, ClearAllOnAFolderVisitsTheCatalogue) {
  const auto catalogue = TagsResources::shared().catalogue();
  auto writable = [&](const TagStream& stream) {
    std::size_t count = 0;
    for (const auto& key : catalogue->stream(stream)->keys)
      if (catalogue->tag(key, stream)->isWritable) ++count;
    return count;
  };
  auto folder = editorOf({}, "/photos/folder");
  SessionRecorder recorder;
  clearAll(*folder, TagStream::iptc);
  EXPECT_EQ(folder->writtenTagNames().size(), writable(TagStream::iptc));
  for (const auto& name : folder->writtenTagNames()) EXPECT_EQ(folder->writtenValue(name), "");

  clearAll(*folder);
  std::size_t all = 0, keys = 0;
  for (const auto& stream : catalogue->streams()) {
    all += writable(stream);
    keys += catalogue->stream(stream)->keys.size();
  }
  EXPECT_EQ(folder->writtenTagNames().size(), all);
  EXPECT_GT(all, 1000u);
  EXPECT_LT(all, keys);  // the tags that cannot be written were refused
  EXPECT_EQ(recorder.sets().size(), 2u);
}

// ---------------------------------------------------------------------------------------------
// Merge, copy, clone

TEST_F(EditorOperations, MergeSeparatorsAndRefusals) {
  const struct {
    const char* name;
    const char* tag;
    const char* value;  // null: none
    const char* text;
    const char* merged;  // null: no edit
  } cases[] = {
      {"a blank after a text", "IPTC:Headline", "Sunset", "at sea", "Sunset at sea"},
      {"a comma after the elements of a list", "IPTC:Keywords", "sea", "sun", "sea, sun"},
      {"no second blank", "IPTC:Caption-Abstract", "Ends in a blank ", "here", "Ends in a blank here"},
      {"no value: no separator", "IPTC:City", nullptr, "Paris", "Paris"},
      {"an empty value: no separator", "IPTC:Headline", "", "Dawn", "Dawn"},
      {"\"digits\" is text", "IPTC:Urgency", "5", "2", "5 2"},
      {"no text type", "EXIF:ISO", "100", "200", nullptr},
      {"no text type, an empty text", "EXIF:ISO", "100", "", nullptr},
      {"unknown to the catalogue", "EXIF:NoSuchTag", nullptr, "x", nullptr},
  };
  for (const auto& row : cases) {
    auto editor = row.value ? editorOf({{row.tag, row.value}}) : editorOf({});
    mergeValue(*editor, row.text, tag(row.tag));
    if (row.merged)
      EXPECT_EQ(editor->currentValue(tag(row.tag)), row.merged) << row.name;
    else
      EXPECT_FALSE(editor->isEdited()) << row.name;
  }
}

TEST_F(EditorOperations, CopyGoesThroughTheRawForm) {
  const auto description = TagName::exifImageDescription, fNumber = tag("EXIF:FNumber"), iso = tag("EXIF:ISO");
  auto editor = editorOf({{"EXIF:FNumber", "5,6"}, {"EXIF:ISO", "100"}, {"EXIF:ImageDescription", "Old"}});
  copy(*editor, fNumber, description);
  EXPECT_EQ(editor->currentValue(description), "5.6");  // a number, re-expressed as text
  copy(*editor, iso, fNumber);
  EXPECT_EQ(editor->currentValue(fNumber), "100.00000000");
  copy(*editor, description, iso);  // "5.6" is no integer: the ISO is restored
  EXPECT_FALSE(editor->isValueEdited(iso));

  // From a tag without a value: the destination is restored, not cleared.
  copy(*editor, tag("EXIF:Artist"), description);
  EXPECT_FALSE(editor->isValueEdited(description));
  EXPECT_EQ(editor->currentValue(description), "Old");
  // Names the catalogue does not know: nothing.
  copy(*editor, tag("EXIF:Nothing"), description);
  copy(*editor, iso, tag("EXIF:Nothing"));
  EXPECT_EQ(editor->writtenTagNames(), std::vector<TagName>{fNumber});
}

TEST_F(EditorOperations, CloneMovesWhatAReaderSees) {
  const auto orientation = tag("EXIF:Orientation"), description = TagName::exifImageDescription,
             headline = tag("IPTC:Headline");
  auto editor = editorOf({{"EXIF:Orientation", "1"}, {"EXIF:Make", "Canon"}});
  clone(*editor, tag("EXIF:Make"), headline);
  EXPECT_EQ(editor->currentValue(headline), "Canon");
  // A choice that is not in the list goes as its formatted text.
  editor->setValue(std::string("9"), orientation);
  clone(*editor, orientation, description);
  EXPECT_EQ(editor->currentValue(description), "9");
  // Into a number tag: the localised text is no number, and the destination is restored.
  editor->setValue(std::string("1"), orientation);
  editor->setValue(std::string("3"), tag("EXIF:ResolutionUnit"));
  clone(*editor, orientation, tag("EXIF:ResolutionUnit"));
  EXPECT_FALSE(editor->isValueEdited(tag("EXIF:ResolutionUnit")));
  // From nothing: restored.
  clone(*editor, tag("EXIF:Artist"), headline);
  EXPECT_FALSE(editor->isValueEdited(headline));
}

// ---------------------------------------------------------------------------------------------
// Dates

TEST_F(EditorOperations, CopyDateCombinesDayAndTime) {
  const auto original = tag("EXIF:DateTimeOriginal"), create = tag("EXIF:CreateDate"),
             gpsDate = TagName::exifGPSDateStamp, gpsTime = TagName::exifGPSTimeStamp,
             iptcDate = TagName::iptcDateCreated;
  auto editor = editorOf({{"EXIF:DateTimeOriginal", "2021:03:04 10:11:12"}, {"IPTC:DateCreated", "20200102"},
                          {"EXIF:GPSDateStamp", "2019:05:06"}, {"EXIF:GPSTimeStamp", "21:22:23"}});
  // Full onto full, and full onto a part: direct copies.
  copyDate(*editor, original, create);
  EXPECT_EQ(editor->currentValue(create), "2021:03:04 10:11:12");
  copyDate(*editor, original, gpsTime);
  EXPECT_EQ(editor->currentValue(gpsTime), "10:11:12");
  restoreValue(*editor, gpsTime);

  // A date part onto a full date changes the day and keeps the time.
  copyDate(*editor, iptcDate, original);
  EXPECT_EQ(editor->currentValue(original), "2020:01:02 10:11:12");
  // A time part onto a full date changes the time and keeps the day.
  copyDate(*editor, gpsTime, original);
  EXPECT_EQ(editor->currentValue(original), "2020:01:02 21:22:23");
  // A date part onto a time part: the time part keeps its time (on the source's day).
  copyDate(*editor, gpsDate, gpsTime);
  EXPECT_EQ(editor->currentValue(gpsTime), "21:22:23");
  // "partialdate" onto "digitsdate": the destination keeps its date.
  copyDate(*editor, gpsDate, iptcDate);
  EXPECT_FALSE(editor->isValueEdited(iptcDate));
  EXPECT_EQ(editor->currentValue(iptcDate), "20200102");
  // A time part onto a date part: the day stays.
  copyDate(*editor, gpsTime, iptcDate);
  EXPECT_EQ(editor->currentValue(iptcDate), "20200102");

  // A date part onto a full date without a value: a direct copy, at midnight.
  copyDate(*editor, iptcDate, tag("EXIF:ModifyDate"));
  EXPECT_EQ(editor->currentValue(tag("EXIF:ModifyDate")), "2020:01:02 00:00:00");
  // A source without a date onto a dated destination: the destination is restored.
  copyDate(*editor, tag("IPTC:DateSent"), original);
  EXPECT_FALSE(editor->isValueEdited(original));
  EXPECT_EQ(editor->currentValue(original), "2021:03:04 10:11:12");
  copyDate(*editor, tag("IPTC:Nothing"), original);
  EXPECT_FALSE(editor->isValueEdited(original));
}

TEST_F(EditorOperations, DateEditionsOnATag) {
  const auto original = tag("EXIF:DateTimeOriginal"), iptcDate = TagName::iptcDateCreated;
  auto editor = editorOf({{"EXIF:DateTimeOriginal", "2021:01:31 23:30:00"}, {"IPTC:DateCreated", "20240228"}});
  auto apply = [&](const char* edition, const TagName& name) {
    orvelin::apply(*editor, *DateEdition::fromDescription(edition), name);
  };

  const struct {
    const char* edition;
    TagName name;
    const char* expected;
  } steps[] = {
      {"SHIFT(hh: 1)", original, "2021:02:01 00:30:00"},  // across midnight and the end of the month
      {"SHIFT(MM: 1)", original, "2021:03:01 00:30:00"},
      {"SHIFT(DD: -1, mm: -31)", original, "2021:02:27 23:59:00"},
      {"UPDATE(YY: 1999, ss: 5)", original, "1999:02:27 23:59:05"},
      {"SELECT(YY: 2020, MM: 1, DD: 2)", original, "2020:01:02 00:00:00"},
      {"SHIFT(DD: 1)", iptcDate, "20240229"},  // in the tag's own form, across a leap day
      {"REMOVE()", original, ""},
      {"RESTORE()", original, "2021:01:31 23:30:00"},
      // Every year from 1 to 9999; a result beyond keeps the value as it is.
      {"UPDATE(YY: 9999, MM: 12)", original, "9999:12:31 23:30:00"},
      {"SHIFT(mm: 29, ss: 59)", original, "9999:12:31 23:59:59"},
      {"SHIFT(ss: 1)", original, "9999:12:31 23:59:59"},
      {"UPDATE(YY: 1600, MM: 1, DD: 1)", original, "1600:01:01 23:59:59"},
      {"UPDATE(YY: 1)", original, "0001:01:01 23:59:59"},
      {"SHIFT(DD: -1)", original, "0001:01:01 23:59:59"},
      {"SELECT(MM: 2)", original, "2000:02:01 00:00:00"},  // a year-less date falls in 2000
  };
  for (const auto& step : steps) {
    apply(step.edition, step.name);
    EXPECT_EQ(editor->currentValue(step.name), step.expected) << step.edition;
  }

  // No date to shift (exiftool's "0000:00:00 00:00:00" is none): the value stays as it is.
  for (const char* noDate : {"sometime", "0000:00:00 00:00:00"}) {
    editor->setValue(std::string(noDate), original);
    apply("SHIFT(hh: 1)", original);
    EXPECT_EQ(editor->currentValue(original), noDate);
  }
  apply("SHIFT(hh: 1)", tag("EXIF:CreateDate"));
  EXPECT_FALSE(editor->isValueEdited(tag("EXIF:CreateDate")));
  // SELECT needs no old date.
  apply("SELECT(YY: 2001)", tag("EXIF:CreateDate"));
  EXPECT_EQ(editor->currentValue(tag("EXIF:CreateDate")), "2001:01:01 00:00:00");
}

TEST_F(EditorOperations, ExifCreateAndModifyDates) {
  auto editor = editorOf({{"EXIF:CreateDate", "2021:03:04 10:11"}, {"EXIF:ModifyDate", "not a date"}});
  EXPECT_EQ(dateText.stringValueFromTypedValue(exifCreateDate(*editor)), "2021:03:04 10:11:00");
  EXPECT_EQ(exifModifyDate(*editor), std::nullopt);
  setExifCreateDate(*editor, dateText.typedValueFromStringValue("2000:01:02 03:04:05"));
  EXPECT_EQ(editor->currentValue(TagName::exifCreateDate), "2000:01:02 03:04:05");
  setExifCreateDate(*editor, std::nullopt);  // a restore
  EXPECT_FALSE(editor->isValueEdited(TagName::exifCreateDate));
  clearValue(*editor, TagName::exifCreateDate);
  EXPECT_EQ(exifCreateDate(*editor), std::nullopt);
}

// ---------------------------------------------------------------------------------------------
// Presets

TEST_F(EditorOperations, PresetEntriesOnTags) {
  const auto original = tag("EXIF:DateTimeOriginal"), description = TagName::exifImageDescription;
  auto editor = editorOf({{"EXIF:DateTimeOriginal", "2021:01:31 23:30:00"}, {"IPTC:DateCreated", "20200102"},
                          {"EXIF:CreateDate", "2019:05:06 07:08:09"}, {"EXIF:Orientation", "1"},
                          {"EXIF:Artist", "Me"}});
  // A value entry on a date tag is a date edition; any other text leaves the tag alone.
  apply(*editor, PresetEntry::value("2022:01:01 00:00:00"), original);
  EXPECT_FALSE(editor->isValueEdited(original));
  apply(*editor, PresetEntry::value("SHIFT(hh: 1)"), original);
  EXPECT_EQ(editor->currentValue(original), "2021:02:01 00:30:00");
  apply(*editor, PresetEntry::value("A text"), description);
  EXPECT_EQ(editor->currentValue(description), "A text");
  // A copy onto a date tag is a date copy: the IPTC day with the time of the destination.
  apply(*editor, PresetEntry::copy("IPTC:DateCreated"), tag("EXIF:CreateDate"));
  EXPECT_EQ(editor->currentValue(tag("EXIF:CreateDate")), "2020:01:02 07:08:09");
  apply(*editor, PresetEntry::copy(" EXIF : Artist "), tag("IPTC:By-line"));
  EXPECT_EQ(editor->currentValue(tag("IPTC:By-line")), "Me");
  apply(*editor, PresetEntry::copy("no colon"), tag("IPTC:Headline"));
  apply(*editor, PresetEntry::clone("EXIF:Orientation"), tag("IPTC:Headline"));
  EXPECT_EQ(editor->currentValue(tag("IPTC:Headline")), "Horizontal (normal)");
  apply(*editor, PresetEntry::merge("again"), description);
  EXPECT_EQ(editor->currentValue(description), "A text again");
  apply(*editor, PresetEntry::remove(), tag("EXIF:Artist"));
  EXPECT_EQ(editor->currentValue(tag("EXIF:Artist")), "");
  apply(*editor, PresetEntry::restore(), description);
  EXPECT_FALSE(editor->isValueEdited(description));
  const auto before = editor->writtenTagNames();
  apply(*editor, PresetEntry::none(), tag("EXIF:Artist"));
  apply(*editor, PresetEntry::remove(), tag("EXIF:NoSuchTag"));
  EXPECT_EQ(editor->writtenTagNames(), before);

  // A map of entries is one session, with the names that changed.
  const std::map<TagName, PresetEntry> entries = {
      {description, PresetEntry::value("From preset")},
      {tag("IPTC:By-line"), PresetEntry::copy("EXIF:Orientation")},
      {tag("IPTC:Headline"), PresetEntry::remove()},
      {tag("EXIF:Artist"), PresetEntry::restore()},
      {tag("EXIF:Make"), PresetEntry::none()},
  };
  SessionRecorder recorder;
  apply(*editor, entries);
  EXPECT_EQ(recorder.onlySession(editor),
            (std::set<TagName>{description, tag("IPTC:By-line"), tag("IPTC:Headline"), tag("EXIF:Artist")}));
}

// ---------------------------------------------------------------------------------------------
// GPS

TEST_F(EditorOperations, GPSSignsComeFromTheReferences) {
  auto latitudeOf = [](const char* number, const char* reference) {
    auto editor = reference ? editorOf({{"EXIF:GPSLatitude", number}, {"EXIF:GPSLatitudeRef", reference}})
                            : editorOf({{"EXIF:GPSLatitude", number}});
    return exifGPSLatitude(*editor);
  };
  EXPECT_EQ(latitudeOf("12.5", nullptr), 12.5);
  EXPECT_EQ(latitudeOf("12.5", "S"), -12.5);
  EXPECT_EQ(latitudeOf("12.5", "s"), 12.5);  // only the upper-case letter is negative
  EXPECT_EQ(latitudeOf("12.5", "N"), 12.5);
  EXPECT_EQ(latitudeOf("12.5", ""), 12.5);
  EXPECT_EQ(latitudeOf("-12.5", "S"), std::nullopt);  // a stored number is unsigned
  EXPECT_EQ(latitudeOf("north", "N"), std::nullopt);
  EXPECT_EQ(latitudeOf("", "N"), std::nullopt);
  EXPECT_EQ(latitudeOf("0", "S"), -0.0);

  // A position needs both numbers.
  auto editor = editorOf({{"EXIF:GPSLongitude", "2.5"}, {"EXIF:GPSLongitudeRef", "W"}});
  EXPECT_EQ(exifGPSCoordinate(*editor), std::nullopt);
  EXPECT_EQ(exifGPSLocation(*editor), std::nullopt);
}

TEST_F(EditorOperations, GPSWritersStoreMagnitudeAndReference) {
  auto editor = editorOf({});
  auto stored = [&](const TagName& number, const TagName& reference) {
    return std::make_pair(editor->currentValue(number).value_or("absent"), editor->currentValue(reference).value_or("absent"));
  };
  using Pair = std::pair<std::string, std::string>;
  setEXIFGPSLatitude(*editor, -12.5);
  EXPECT_EQ(stored(TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef), Pair("12.50000000", "S"));
  setEXIFGPSLatitude(*editor, 0.0);
  EXPECT_EQ(stored(TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef), Pair("0.00000000", "N"));
  setEXIFGPSLongitude(*editor, -0.0);
  EXPECT_EQ(stored(TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef), Pair("0.00000000", "E"));
  setEXIFGPSLongitude(*editor, -151.2);
  EXPECT_EQ(stored(TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef), Pair("151.20000000", "W"));
  setEXIFGPSAltitude(*editor, -3);
  EXPECT_EQ(stored(TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef), Pair("3.00000000", "1"));
  EXPECT_EQ(exifGPSAltitude(*editor), -3.0);
  setEXIFGPSAltitude(*editor, 1.25);
  EXPECT_EQ(stored(TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef), Pair("1.25000000", "0"));
  setEXIFGPSLatitude(*editor, std::nullopt);  // erases the group
  EXPECT_EQ(stored(TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef), Pair("absent", "absent"));

  // Stamps are local time; the moment of the two.
  const auto moment = dateText.typedValueFromStringValue("2021:12:31 23:59:58");
  setEXIFGPSDateTime(*editor, moment);
  EXPECT_EQ(editor->currentValue(TagName::exifGPSDateStamp), "2021:12:31");
  EXPECT_EQ(editor->currentValue(TagName::exifGPSTimeStamp), "23:59:58");
  EXPECT_EQ(exifGPSDateStamp(*editor), PartialDate(2021, 12, 31));
  EXPECT_EQ(exifGPSTimeStamp(*editor), PartialTime(23, 59, 58));
  EXPECT_EQ(exifGPSDateTime(*editor), moment);
  setEXIFGPSTimeStamp(*editor, std::nullopt);
  EXPECT_EQ(exifGPSDateTime(*editor), std::nullopt);
  setEXIFGPSTimeStamp(*editor, PartialTime(1, 2, 3));
  setEXIFGPSDateStamp(*editor, PartialDate(2020, 2, 29));
  EXPECT_EQ(dateText.stringValueFromTypedValue(exifGPSDateTime(*editor)), "2020:02:29 01:02:03");
  setEXIFGPSDateStamp(*editor, std::nullopt);  // a time alone is no moment
  EXPECT_EQ(exifGPSDateTime(*editor), std::nullopt);
}

TEST_F(EditorOperations, GPSCoordinatesAndLocations) {
  auto editor = editorOf({{"EXIF:GPSDateStamp", "2002:07:13"}, {"EXIF:GPSTimeStamp", "14:58:24"}});
  SessionRecorder recorder;
  setEXIFGPSCoordinate(*editor, Coordinate(48.8566, -2.3522));
  EXPECT_EQ(recorder.sets().size(), 1u);
  EXPECT_EQ(exifGPSCoordinate(*editor), Coordinate(48.8566, -2.3522));
  EXPECT_EQ(exifGPSCoordinate2D(*editor), (LocationCoordinate2D{48.8566, -2.3522}));
  auto location = exifGPSLocation(*editor);
  ASSERT_TRUE(location);
  EXPECT_EQ(dateText.stringValueFromTypedValue(location->timestamp), "2002:07:13 14:58:24");

  // keepDate leaves both stamps.
  Location moved;
  moved.latitude = -33.8;
  moved.longitude = 151.2;
  moved.altitude = 12;
  moved.timestamp = *dateText.typedValueFromStringValue("2010:01:01 00:00:00");
  setEXIFGPSLocation(*editor, moved, true);
  EXPECT_EQ(editor->currentValue(TagName::exifGPSDateStamp), "2002:07:13");
  EXPECT_EQ(exifGPSAltitude(*editor), 12.0);
  EXPECT_EQ(exifGPSCoordinate(*editor), Coordinate(-33.8, 151.2));
  setEXIFGPSLocation(*editor, moved, false);
  EXPECT_EQ(editor->currentValue(TagName::exifGPSDateStamp), "2010:01:01");
  EXPECT_EQ(editor->currentValue(TagName::exifGPSTimeStamp), "00:00:00");
  EXPECT_EQ(recorder.sets().size(), 3u);

  // An absent coordinate erases altitude and stamps too.
  setEXIFGPSCoordinate(*editor, std::nullopt);
  for (const auto& name : {TagName::exifGPSLatitude, TagName::exifGPSLatitudeRef, TagName::exifGPSLongitude,
                           TagName::exifGPSLongitudeRef, TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef})
    EXPECT_EQ(editor->currentValue(name), std::nullopt) << name;  // never in the file: nothing to delete
  EXPECT_EQ(editor->currentValue(TagName::exifGPSDateStamp), "");
  EXPECT_EQ(editor->currentValue(TagName::exifGPSTimeStamp), "");
  EXPECT_EQ(recorder.sets().size(), 4u);

  // Without stamps the location is of the present moment.
  setEXIFGPSCoordinate2D(*editor, LocationCoordinate2D{1, 2});
  const auto before = currentDate();
  location = exifGPSLocation(*editor);
  const auto after = currentDate();
  ASSERT_TRUE(location);
  EXPECT_TRUE(location->timestamp >= before && location->timestamp <= after);
  setEXIFGPSLocation(*editor, std::nullopt, true);
  EXPECT_EQ(exifGPSCoordinate(*editor), std::nullopt);
}

TEST_F(EditorOperations, GPSGroupsClearAndRestoreInSessions) {
  auto editor = editorOf({{"EXIF:GPSLatitude", "1"}, {"EXIF:GPSLatitudeRef", "N"}, {"EXIF:GPSLongitude", "2"},
                          {"EXIF:GPSLongitudeRef", "E"}, {"EXIF:GPSAltitude", "3"}, {"EXIF:GPSAltitudeRef", "0"},
                          {"EXIF:GPSDateStamp", "2002:07:13"}, {"EXIF:GPSTimeStamp", "14:58:24"}});
  const std::vector<TagName> eight = {TagName::exifGPSLatitude,  TagName::exifGPSLatitudeRef,
                                      TagName::exifGPSLongitude, TagName::exifGPSLongitudeRef,
                                      TagName::exifGPSAltitude,  TagName::exifGPSAltitudeRef,
                                      TagName::exifGPSDateStamp, TagName::exifGPSTimeStamp};
  {
    SessionRecorder recorder;
    eraseEXIFGPSAltitude(*editor);
    EXPECT_EQ(recorder.onlySession(editor), (std::set<TagName>{TagName::exifGPSAltitude, TagName::exifGPSAltitudeRef}));
  }
  {
    SessionRecorder recorder;
    // The altitude pair is cleared already: a value equal to the current one is not registered.
    eraseEXIFGPSLocation(*editor);
    std::set<TagName> six(eight.begin(), eight.end());
    six.erase(TagName::exifGPSAltitude);
    six.erase(TagName::exifGPSAltitudeRef);
    EXPECT_EQ(recorder.onlySession(editor), six);
  }
  for (const auto& name : eight) EXPECT_EQ(editor->writtenValue(name), "") << name;
  restoreEXIFGPSDateTime(*editor);
  EXPECT_EQ(exifGPSDateStamp(*editor), PartialDate(2002, 7, 13));
  clearEXIFGPSLongitude(*editor);
  restoreEXIFGPSLatitude(*editor);
  EXPECT_EQ(exifGPSLatitude(*editor), 1.0);
  EXPECT_EQ(exifGPSLongitude(*editor), std::nullopt);
  {
    SessionRecorder recorder;
    restoreEXIFGPSLocation(*editor);
    EXPECT_EQ(recorder.sets().size(), 1u);
  }
  for (const auto& name : eight) EXPECT_FALSE(editor->isValueEdited(name)) << name;
  eraseEXIFGPSDateStamp(*editor);
  eraseEXIFGPSTimeStamp(*editor);
  EXPECT_EQ(editor->writtenTagNames(), (std::vector<TagName>{TagName::exifGPSDateStamp, TagName::exifGPSTimeStamp}));
  restoreEXIFGPSDateStamp(*editor);
  restoreEXIFGPSTimeStamp(*editor);
  restoreEXIFGPSAltitude(*editor);
  restoreEXIFGPSLongitude(*editor);
  EXPECT_FALSE(editor->isEdited());
}

TEST_F(EditorOperations, IPTCLocationDescription) {
  EXPECT_EQ(iptcLocationDescription(*editorOf({{"IPTC:City", "Kingston"}, {"IPTC:Country-PrimaryLocationName", "Canada"}})),
            "Kingston, Canada");
  EXPECT_EQ(iptcLocationDescription(*editorOf({{"IPTC:City", "Kingston"}, {"IPTC:Province-State", ""},
                                               {"IPTC:Country-PrimaryLocationName", "Canada"}})),
            "Kingston, , Canada");
  EXPECT_EQ(iptcLocationDescription(*editorOf({{"IPTC:Province-State", "Ont"}})), "Ont");
  EXPECT_EQ(iptcLocationDescription(*editorOf({})), "");
}

// ---------------------------------------------------------------------------------------------
// Image facts

TEST_F(EditorOperations, ImageSizeTakesTheFirstWholePair) {
  using Size = ImageSize;
  EXPECT_EQ(imageSize(*editorOf({{"File:ImageWidth", "8"}, {"File:ImageHeight", "6"},
                                 {"EXIF:ExifImageWidth", "100"}, {"EXIF:ExifImageHeight", "80"}})),
            (Size{8, 6}));
  // Half a pair, a text and a negative number are skipped.
  EXPECT_EQ(
      imageSize(*editorOf({{"File:ImageWidth", "8"}, {"EXIF:ExifImageWidth", "100"}, {"EXIF:ExifImageHeight", "80"}})),
      (Size{100, 80}));
  EXPECT_EQ(imageSize(*editorOf({{"File:ImageWidth", "wide"}, {"File:ImageHeight", "6"},
                                 {"EXIF:ExifImageWidth", "-100"}, {"EXIF:ExifImageHeight", "80"},
                                 {"EXIF:ImageWidth", "160"}, {"EXIF:ImageHeight", "120"}})),
            (Size{160, 120}));
  EXPECT_EQ(imageSize(*editorOf({{"PNG:ImageWidth", "16"}, {"PNG:ImageHeight", "0"}}, "/photos/image.png")),
            (Size{16, 0}));  // zero is a size
  EXPECT_EQ(imageSize(*editorOf({{"EXIF:ImageWidth", "160"}})), std::nullopt);
  EXPECT_EQ(imageSize(*editorOf({})), std::nullopt);
  // The current value counts: a cleared width is no width.
  auto editor = editorOf({{"EXIF:ImageWidth", "160"}, {"EXIF:ImageHeight", "120"}});
  clearValue(*editor, TagName::exifImageWidth);
  EXPECT_EQ(imageSize(*editor), std::nullopt);
}

TEST_F(EditorOperations, ThumbnailFactsAndDirectWrites) {
  EXPECT_FALSE(hasOriginalThumbnail(*editorOf({{"EXIF:ThumbnailLength", "0"}})));
  EXPECT_FALSE(hasCurrentThumbnail(*editorOf({{"EXIF:ThumbnailLength", "0"}})));
  EXPECT_FALSE(hasCurrentThumbnail(*editorOf({{"EXIF:ThumbnailLength", ""}})));

  auto editor = editorOf({{"EXIF:ThumbnailLength", "5120"}});
  EXPECT_TRUE(hasCurrentThumbnail(*editor));
  EXPECT_FALSE(isExifThumbnailEdited(*editor));
  removeThumbnail(*editor);
  EXPECT_FALSE(hasCurrentThumbnail(*editor));
  EXPECT_TRUE(hasOriginalThumbnail(*editor));
  EXPECT_TRUE(isExifThumbnailEdited(*editor));
  restoreThumbnail(*editor);
  EXPECT_FALSE(isExifThumbnailEdited(*editor));
  EXPECT_FALSE(editor->isEdited());
  // Another non-zero length is no edit of the thumbnail.
  editor->setValue(std::string("99"), TagName::exifThumbnailLength);
  EXPECT_FALSE(isExifThumbnailEdited(*editor));

  // Direct writes: pending even without the tags, and without the catalogue's say.
  auto bare = editorOf({});
  removeThumbnail(*bare);
  EXPECT_EQ(bare->writtenTagNames().size(), 4u);
  EXPECT_EQ(bare->writtenValue(TagName::exifThumbnailImage), "");
  // Locked: nothing, in an empty session.
  restoreThumbnail(*bare);
  bare->lockEditor();
  SessionRecorder recorder;
  removeThumbnail(*bare);
  ASSERT_EQ(recorder.sets().size(), 1u);
  EXPECT_TRUE(recorder.sets().front().values.empty());
  EXPECT_FALSE(bare->isEdited());
  bare->unlockEditor();
}

// ---------------------------------------------------------------------------------------------
// From many threads

// Operations on shared editors from many threads: each slot call is atomic, and the sessions
// of all threads nest in the one global session. Run under ThreadSanitizer for the races.
TEST_F(EditorOperations, ConcurrentOperations) {
  auto shared = editorOf({{"IPTC:Headline", "start"}, {"EXIF:DateTimeOriginal", "2021:01:31 23:30:00"}});
  std::vector<std::shared_ptr<MetadataEditor>> own;
  for (int i = 0; i < 4; ++i) own.push_back(editorOf({{"EXIF:Make", "Canon"}, {"EXIF:ThumbnailLength", "10"}}));
  SessionRecorder recorder;
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      ++ready;
      while (ready < 4) std::this_thread::yield();
      for (int round = 0; round < 20; ++round) {
        setEXIFGPSCoordinate(*shared, Coordinate(i, -i));
        mergeValue(*shared, "x", tag("IPTC:Headline"));
        (void)exifGPSLocation(*shared);
        (void)imageSize(*shared);
        apply(*own[i], {{tag("EXIF:Make"), PresetEntry::value("Nikon")}, {tag("EXIF:Artist"), PresetEntry::remove()}});
        removeThumbnail(*own[i]);
        clearAll(*own[i], TagStream::exif);
        restoreAll(*own[i]);
        restoreThumbnail(*own[i]);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  // Latitude and longitude are set one after the other: they may come from two threads.
  const auto coordinate = exifGPSCoordinate(*shared);
  ASSERT_TRUE(coordinate);
  EXPECT_TRUE(coordinate->latitude.value >= 0 && coordinate->latitude.value <= 3);
  EXPECT_TRUE(coordinate->longitude.value <= 0 && coordinate->longitude.value >= -3);
  // Merges may be lost to each other, never half made.
  const auto headline = *shared->currentValue(tag("IPTC:Headline"));
  EXPECT_EQ(headline.rfind("start x", 0), 0u);
  for (const auto& editor : own) EXPECT_FALSE(editor->isEdited());
  EXPECT_FALSE(EditionsManager::shared().isInSession());
  EXPECT_GE(recorder.sets().size(), 1u);
}

}  // namespace
}  // namespace orvelin
