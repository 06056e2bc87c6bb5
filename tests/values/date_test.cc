#include "orvelin/values/date_values.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <ctime>
#include <limits>
#include <tuple>

#include "orvelin/values/date_edition.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {
namespace {

using std::chrono::hours;
using std::chrono::seconds;

// Expected moments come from the C library's own local time, not from the code under test.
Date local(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  std::tm fields{};
  std::tie(fields.tm_year, fields.tm_mon, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec) =
      std::make_tuple(year - 1900, month - 1, day, hour, minute, second);
  fields.tm_isdst = -1;
  return Date(seconds(std::mktime(&fields)));
}

Date utc(int year, int month, int day, int hour, int minute, int second) {
  const std::chrono::sys_days date = std::chrono::year(year) / month / day;
  return Date(date + hours(hour) + std::chrono::minutes(minute) + seconds(second));
}

using Field = std::optional<std::int64_t>;

DateValues values(Field year, Field month, Field day, Field hour = {}, Field minute = {}, Field second = {}) {
  DateValues result;
  std::tie(result.year, result.month, result.day, result.hour, result.minute, result.second) =
      std::tie(year, month, day, hour, minute, second);
  return result;
}

TEST(DateTimeValueConverter, ReadsTheElevenFormsWholeAndWritesLocalTime) {
  const DateTimeValueConverter converter;
  const std::pair<const char*, Date> cases[] = {
      {"2021:03:04 10:11:12", local(2021, 3, 4, 10, 11, 12)},    {"2021:03:04 10:11", local(2021, 3, 4, 10, 11, 0)},
      {"2021:03:04", local(2021, 3, 4)},    {"20210304", local(2021, 3, 4)},
      {"10:11:12", local(2000, 1, 1, 10, 11, 12)},  // a time, on the day all dates lacking one take
      {"101112", local(2000, 1, 1, 10, 11, 12)},    // six digits are a time, never 2010-11-12
      {"2021:03:04 10:11:12.345+0100", utc(2021, 3, 4, 9, 11, 12) + std::chrono::milliseconds(345)},
      {"2021:03:04 10:11:12+01:00", utc(2021, 3, 4, 9, 11, 12)},
      {"2021:03:04 10:11:12Z", utc(2021, 3, 4, 10, 11, 12)},  {"2021", local(2021, 1, 1)},
      {"2021:03:04 10:11:12GMT-02:30", utc(2021, 3, 4, 12, 41, 12)},
      {"2021:03:04 10:11:12-0230", utc(2021, 3, 4, 12, 41, 12)},
      {"1600:01:01", local(1600, 1, 1)},    {"2024:02:29 23:59:59", local(2024, 2, 29, 23, 59, 59)},
      // The first and last moments of a date.
      {"0001:01:01 00:00:00", local(1, 1, 1)},  {"9999:12:31 23:59:59", local(9999, 12, 31, 23, 59, 59)},
      {"2021:10:31 02:30:00", local(2021, 10, 31, 2, 30, 0)},  // an hour that Paris lives twice
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(converter.typedValueFromStringValue(text), expected) << text;
    EXPECT_EQ(converter.typedValueFromRawValue(Value(text)), expected) << text;
  }
  // Refused: what no form reads whole ("2021:03:28 02:30:00" is an hour that Paris skips).
  for (const char* text : {"", "2021:13:01", "2021:02:30", "2023:02:29 00:00:00", "2021:03:04 25:00:00",
                           "2021:03:28 02:30:00", "2021:03:04 10:11:60", "2021-03-04", "hello", "10111",
                           "1011121", "202103041", "0000:00:00 00:00:00", "0000:00:00", "0000:01:01", "10000:01:01",
                           " 2021", "2021 ", "2021:03:04 10:11:12 ",
                           "\xEF\xBC\x92\xEF\xBC\x90\xEF\xBC\x92\xEF\xBC\x91", "20\xFF" "21"})
    EXPECT_EQ(converter.typedValueFromStringValue(text), std::nullopt) << '"' << text << '"';
  EXPECT_EQ(converter.typedValueFromStringValue(std::nullopt), std::nullopt);
  EXPECT_EQ(converter.stringValueFromStringValue("yesterday"), std::nullopt);

  EXPECT_EQ(converter.stringValueFromStringValue("2021:03:04 10:11"), "2021:03:04 10:11:00");
  EXPECT_EQ(converter.stringValueFromStringValue("20210304"), "2021:03:04 00:00:00");
  // (The other formats are those of the date and time tag types, in the tags' tests.)
  for (const char* bound : {"0001:01:01 00:00:00", "9999:12:31 23:59:59"})
    EXPECT_EQ(converter.stringValueFromStringValue(bound), bound);
  EXPECT_EQ(converter.stringValueFromTypedValue(local(1, 1, 1) - seconds(1)), std::nullopt);  // no year 0

  // A zone in the text is honoured on reading and lost on writing: the result is local time,
  // an hour ahead of UTC in a Paris winter.
  EXPECT_EQ(converter.stringValueFromStringValue("2021:03:04 09:11:12Z"), "2021:03:04 10:11:12");
  EXPECT_EQ(converter.stringValueFromTypedValue(utc(2021, 3, 4, 9, 11, 12)), "2021:03:04 10:11:12");
  EXPECT_EQ(converter.stringValueFromTypedValue(std::nullopt), std::nullopt);

  const auto moment = local(2021, 3, 4, 10, 11, 12);
  EXPECT_EQ(converter.typedValueFromRawValue(Value(moment)), moment);
  EXPECT_EQ(converter.typedValueFromRawValue(Value(PartialDate(2021, 3, 4))), local(2021, 3, 4));
  EXPECT_EQ(converter.typedValueFromRawValue(Value(PartialTime(10, 11, 12))), local(2000, 1, 1, 10, 11, 12));
  for (const Value& raw : {Value(""), Value(20210304), Value()})
    EXPECT_EQ(converter.typedValueFromRawValue(raw), std::nullopt) << raw;

  EXPECT_EQ(converter.objectValueFromStringValue("2021:03:04 10:11"), Value("2021:03:04 10:11:00"));
  EXPECT_EQ(converter.formattedValueFromStringValue("20210304"), "2021:03:04 00:00:00");
  EXPECT_EQ(converter.rawValueFromStringValue("2021:03:04 10:11:12"), Value(moment));
  EXPECT_EQ(converter.csvValueFromRawValue(Value(moment)), "2021:03:04 10:11:12");
  EXPECT_EQ(converter.jsonValueFromRawValue(Value("2021:03:04")), Value("2021:03:04 00:00:00"));
  EXPECT_EQ(converter.jsonValueFromRawValue(Value("soon")), std::nullopt);
}

TEST(DateParts, FieldsRoundTripThroughTheCalendarCarryOverOrGiveTheCurrentMoment) {
  const auto moment = local(2021, 3, 4, 10, 11, 12);
  EXPECT_EQ(PartialDate(moment), PartialDate(2021, 3, 4));
  EXPECT_EQ(PartialTime(moment), PartialTime(10, 11, 12));
  // Just after midnight in summer, local time and UTC fall on different days wherever the
  // zone's offset is not zero.
  const auto summer = local(2021, 7, 1, 0, 30, 0);
  EXPECT_EQ(DateTime(summer), DateTime(2021, 7, 1, 0, 30, 0));
  EXPECT_EQ(DateValues(summer), values(2021, 7, 1, 0, 30, 0));
  EXPECT_EQ(DateTime(2021, 7, 1, 0, 30, 0).date(), summer);

  // Fields out of range carry over.
  EXPECT_EQ(PartialDate(2021, 13, 1).date(), local(2022, 1, 1));
  EXPECT_EQ(PartialDate(2021, 3, 0).date(), local(2021, 2, 28));
  EXPECT_EQ(DateTime(2021, 1, 1, 0, 0, 75).date(), local(2021, 1, 1, 0, 1, 15));
  EXPECT_EQ(PartialTime(24, 0, 0).date(), local(2000, 1, 2));

  // A date the calendar refuses is the current moment.
  const auto before = currentDate();
  const auto huge = std::numeric_limits<std::int64_t>::max();
  const auto refused = DateTime(2021, 1, 1, 0, 0, huge).date();
  const auto farAway = PartialDate(10000, 1, 1).date();  // beyond the year 9999
  const auto after = currentDate();
  for (const Date date : {refused, farAway}) EXPECT_TRUE(date >= before && date <= after);
  EXPECT_EQ((DateComponents{{}, {}, {}, {}, {}, huge}.date()), std::nullopt);  // huge seconds alone
}

TEST(DateValues, DescriptionsFromADateUpdatesAndShifts) {
  // (Sets with absent fields are written and read in the date editions' tests.)
  EXPECT_EQ(values(-1, 2, 3, 4, 5, 6).description(), "YY: -1, MM: 2, DD: 3, hh: 4, mm: 5, ss: 6");

  EXPECT_EQ(DateValues::fromDescription("ss: 9, mm: 8, hh: 7, DD: 6, MM: 5, YY: 4"), values(4, 5, 6, 7, 8, 9));
  EXPECT_EQ(DateValues::fromDescription(" YY :2021 , \tss:\t-3 "), values(2021, {}, {}, {}, {}, -3));
  EXPECT_EQ(DateValues::fromDescription("YY: +5"), values(5, {}, {}));
  EXPECT_EQ(DateValues::fromDescription("YY: 1, YY: 2"), values(2, {}, {}));  // the later wins
  EXPECT_EQ(DateValues::fromDescription("YY: 1, YY: x"), DateValues());     // even when unreadable
  EXPECT_TRUE(DateValues::fromDescription(std::nullopt).isEmpty());
  for (const char* text : {"", "YY 1", "yy: 1", "Year: 1", "YY: 1.5", "YY: 1e3", "YY: ", "YY: 99999999999999999999",
                           "YY: 1,MM: 2", ", , :"})
    EXPECT_TRUE(DateValues::fromDescription(text).isEmpty()) << '"' << text << '"';
  EXPECT_EQ(DateValues::fromDescription("DD: 3, junk, MM: 4"), values({}, 4, 3));

  EXPECT_TRUE(DateValues(std::nullopt).isEmpty());
  // The fields a set lacks are those of 1 January 2000, as for a time alone.
  EXPECT_EQ(DateValues().date(), local(2000, 1, 1));
  EXPECT_EQ(values(2021, std::nullopt, std::nullopt).date(), local(2021, 1, 1));
  EXPECT_EQ(values({}, 3, {}, 12).date(), local(2000, 3, 1, 12));

  // An update replaces the fields it has, and carries impossible days over.
  const auto lastOfJanuary = local(2021, 1, 31, 10, 0, 0);
  EXPECT_EQ(values({}, 2, {}).updateDate(lastOfJanuary), local(2021, 3, 3, 10));  // February 31st
  EXPECT_EQ(values(2000, 2, {}).updateDate(lastOfJanuary), local(2000, 3, 2, 10));
  EXPECT_EQ(values({}, {}, 15, 8, 30, 0).updateDate(lastOfJanuary), local(2021, 1, 15, 8, 30));
  EXPECT_EQ(values({}, {}, {}, 25).updateDate(lastOfJanuary), local(2021, 2, 1, 1));
  EXPECT_EQ(DateValues().updateDate(lastOfJanuary), lastOfJanuary);
  EXPECT_EQ(values(2021, {}, {}).updateDate(std::nullopt), std::nullopt);

  // A shift adds the largest fields first and clamps at the ends of months.
  EXPECT_EQ(values({}, {}, -1).shiftDate(local(2021, 3, 1, 12)), local(2021, 2, 28, 12));
  EXPECT_EQ(values({}, 1, {}).shiftDate(local(2021, 1, 31)), local(2021, 2, 28));
  EXPECT_EQ(values(1, {}, {}).shiftDate(local(2020, 2, 29)), local(2021, 2, 28));
  EXPECT_EQ(values(1, 1, 1).shiftDate(local(2021, 1, 31)), local(2022, 3, 1));
  const auto moment = local(2021, 6, 15, 12, 0, 0);
  EXPECT_EQ(values({}, {}, {}, 25).shiftDate(moment), moment + hours(25));
  EXPECT_EQ(values({}, {}, {}, {}, -61, 30).shiftDate(moment), moment - seconds(61 * 60 - 30));
  EXPECT_EQ(DateValues().shiftDate(moment), moment);
  EXPECT_EQ(values(1, {}, {}).shiftDate(std::nullopt), std::nullopt);

  // Days are calendar days of the local zone and hours are hours: across a change of daylight saving
  // time (the tests run in Europe/Paris, which changed on 2021-03-28 and 2021-10-31) a day has 23 or 25.
  const auto beforeSpring = local(2021, 3, 27, 12);
  EXPECT_EQ(values({}, {}, 1).shiftDate(beforeSpring), local(2021, 3, 28, 12));
  EXPECT_EQ(values({}, {}, {}, 24).shiftDate(beforeSpring), beforeSpring + hours(24));
  EXPECT_EQ(values({}, {}, 1).shiftDate(local(2021, 10, 30, 12)), local(2021, 10, 31, 12));
  EXPECT_EQ(values({}, {}, 28).updateDate(beforeSpring), local(2021, 3, 28, 12));
  EXPECT_EQ(values(std::numeric_limits<std::int64_t>::max(), {}, {}).shiftDate(moment), std::nullopt);
  EXPECT_EQ(values(7978, 6, 16, 11, 59, 59).shiftDate(moment), local(9999, 12, 31, 23, 59, 59));
  EXPECT_EQ(values(7978, 6, 17).shiftDate(moment), std::nullopt);  // beyond the year 9999
  EXPECT_EQ(values(-2020, -5, -14, -12).shiftDate(moment), local(1, 1, 1));
  EXPECT_EQ(values(-2021, {}, {}).shiftDate(moment), std::nullopt);  // no year 0
}

// The description is read back to the same edition; the localised one keeps the values unlocalised.
TEST(DateEdition, DescriptionsRoundTripJSONHoldsTheDescriptionAndEachCaseApplies) {
  const std::tuple<DateEdition, const char*, const char*> cases[] = {  // edition, description, localised
      {DateEdition::select(values(2021, {}, {}, 6)), "SELECT(YY: 2021, hh: 6)", "Select(YY: 2021, hh: 6)"},
      {DateEdition::update(values(2000, {}, {}, 0)), "UPDATE(YY: 2000, hh: 0)", "Update(YY: 2000, hh: 0)"},
      {DateEdition::shift(values(-1, {}, {}, 25)), "SHIFT(YY: -1, hh: 25)", "Shift(YY: -1, hh: 25)"},
      {DateEdition::select(DateValues()), "SELECT()", "Select()"},
      {DateEdition::shift(DateValues()), "SHIFT()", "Shift()"},
      {DateEdition::restore(), "RESTORE()", "Restore"},
      {DateEdition::remove(), "REMOVE()", "Remove"},
  };
  for (const auto& [edition, description, localized] : cases) {
    EXPECT_EQ(edition.description(), description);
    EXPECT_EQ(edition.localizedDescription(), localized);
    EXPECT_EQ(DateEdition::fromDescription(description), edition) << description;
  }
  EXPECT_NE(DateEdition::select(DateValues()), DateEdition::update(DateValues()));

  EXPECT_EQ(DateEdition::fromDescription("UPDATE(MM: 2, YY: 2000)")->description(), "UPDATE(YY: 2000, MM: 2)");
  EXPECT_EQ(DateEdition::fromDescription("RESTORE(YY: 1)"), DateEdition::restore());  // payload ignored
  EXPECT_EQ(DateEdition::fromDescription("REMOVE(whatever (it) is)"), DateEdition::remove());
  EXPECT_EQ(DateEdition::fromDescription("SHIFT(nonsense)"), DateEdition::shift(DateValues()));
  for (const char* text : {"select(YY: 1)", "SHIFT(YY: 1", "SHIFT", "", "(YY: 1)", "MOVE(YY: 1)", " SHIFT(YY: 1)",
                           "SHIFT (YY: 1)", "SHIFT(YY: 1)x", "SHIFT(YY:\n1)"})
    EXPECT_EQ(DateEdition::fromDescription(text), std::nullopt) << '"' << text << '"';
  EXPECT_EQ(DateEdition::fromDescription(std::nullopt), std::nullopt);

  // In JSON an edition is its description.
  const auto edition = DateEdition::shift(values(1, {}, {}, -2));
  const nlohmann::json json = edition;
  EXPECT_EQ(json, "SHIFT(YY: 1, hh: -2)");
  EXPECT_EQ(json.get<DateEdition>(), edition);
  EXPECT_THROW(nlohmann::json(3).get<DateEdition>(), DateEdition::DecodingError);
  try {
    nlohmann::json("?").get<DateEdition>();
    ADD_FAILURE() << "\"?\" decoded";
  } catch (const DateEdition::DecodingError& error) {
    EXPECT_EQ(error.code(), DateEdition::DecodingError::Code::notParsableInput);
    EXPECT_EQ(error.localizedDescription(), "Not parsable input");
  }

  const std::optional<Date> date = local(2021, 1, 31, 10);
  const auto february = values({}, 2, {});
  EXPECT_EQ(DateEdition::update(february).apply(date), local(2021, 3, 3, 10));
  EXPECT_EQ(DateEdition::shift(february).apply(date), local(2021, 3, 31, 10));
  // A year-less selection falls in 2000, the year of every date that lacks one.
  EXPECT_EQ(DateEdition::select(february).apply(date), local(2000, 2, 1));
  EXPECT_EQ(DateEdition::select(february).apply(std::nullopt), local(2000, 2, 1));
  EXPECT_EQ(DateEdition::restore().apply(date), date);
  EXPECT_EQ(DateEdition::remove().apply(date), std::nullopt);
  for (const auto& edition :
       {DateEdition::update(february), DateEdition::shift(february), DateEdition::restore(), DateEdition::remove()})
    EXPECT_EQ(edition.apply(std::nullopt), std::nullopt) << edition;
}

}  // namespace
}  // namespace orvelin
