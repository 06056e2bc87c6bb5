#include "orvelin/editor/editor_dates.h"

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/values/date_time_value_converter.h"

namespace orvelin {

namespace {

// A text read in each of DateTimeValueConverter::dateFormats in turn; absent when empty.
std::optional<Date> dateFromText(const std::optional<std::string>& text) {
  return DateTimeValueConverter().typedValueFromStringValue(text);
}

std::optional<Date> dateOf(const std::optional<Value>& raw) {
  if (!raw) return std::nullopt;
  if (const auto* date = raw->getIf<Date>()) return *date;
  return std::nullopt;
}

}  // namespace

void copyDate(MetadataEditor& editor, const TagName& source, const TagName& destination) {
  const auto catalogue = TagsResources::shared().catalogue();
  const auto sourceItem = catalogue->tag(source);
  const auto destinationItem = catalogue->tag(destination);
  if (!sourceItem || !destinationItem) return;
  const auto& sourceConverter = *sourceItem->converter();
  const auto& destinationConverter = *destinationItem->converter();
  const TagType sourceType = sourceItem->type;
  const TagType destinationType = destinationItem->type;

  auto directCopy = [&] {
    const auto raw = sourceConverter.rawValueFromStringValue(editor.currentValue(source));
    editor.setValue(destinationConverter.stringValueFromRawValue(raw ? *raw : Value()), destination);
  };
  if (sourceType == destinationType || sourceType.isDateTime()) return directCopy();

  const auto destinationDate = dateOf(destinationConverter.rawValueFromStringValue(editor.currentValue(destination)));
  if (!destinationDate) return directCopy();
  const auto sourceDate = dateOf(sourceConverter.rawValueFromStringValue(editor.currentValue(source)));
  if (!sourceDate) {
    editor.setValue(destinationConverter.stringValueFromRawValue(Value()), destination);
    return;
  }

  auto combined = [](const PartialDate& day, const PartialTime& time) {
    return DateTime(day.year, day.month, day.day, time.hour, time.minute, time.second).date();
  };
  Date result = *destinationDate;
  if (sourceType.isDate() && (destinationType.isTime() || destinationType.isDateTime()))
    result = combined(PartialDate(*sourceDate), PartialTime(*destinationDate));
  else if (sourceType.isTime() && (destinationType.isDate() || destinationType.isDateTime()))
    result = combined(PartialDate(*destinationDate), PartialTime(*sourceDate));
  editor.setValue(destinationConverter.stringValueFromRawValue(Value(result)), destination);
}

void apply(MetadataEditor& editor, const DateEdition& edition, const TagName& name) {
  switch (edition.kind()) {
    case DateEdition::Case::restore: editor.setValue(std::nullopt, name); return;
    case DateEdition::Case::remove: editor.setValue(std::string(), name); return;
    default: break;
  }
  const auto item = TagsResources::shared().tag(name);
  if (!item) return;
  const auto value = editor.currentValue(name);
  const auto date = value && !value->empty() ? dateFromText(value) : std::nullopt;
  std::optional<Date> newDate;
  switch (edition.kind()) {
    case DateEdition::Case::update: newDate = edition.values().updateDate(date); break;
    case DateEdition::Case::shift: newDate = edition.values().shiftDate(date); break;
    default: newDate = edition.values().date(); break;  // select: the old date does not count
  }
  auto text = item->converter()->stringValueFromRawValue(newDate ? Value(*newDate) : Value());
  editor.setValue(text ? text : value, name);
}

std::optional<Date> exifCreateDate(const MetadataEditor& editor) {
  return dateFromText(editor.currentValue(TagName::exifCreateDate));
}

std::optional<Date> exifModifyDate(const MetadataEditor& editor) {
  return dateFromText(editor.currentValue(TagName::exifModifyDate));
}

void setExifCreateDate(MetadataEditor& editor, const std::optional<Date>& date) {
  if (!date) {
    editor.setValue(std::nullopt, TagName::exifCreateDate);
    return;
  }
  editor.setValue(DateTimeValueConverter("yyyy:MM:dd HH:mm:ss").stringValueFromTypedValue(date),
                  TagName::exifCreateDate);
}

}  // namespace orvelin
