#include "orvelin/interchange/csv_tags_file.h"

#include <algorithm>

#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/support/files.h"
#include "orvelin/support/text_encoding.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace orvelin {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// A value that cannot break its line or its quotes.
std::string cleaned(std::string value) {
  std::replace(value.begin(), value.end(), '\n', ' ');
  std::replace(value.begin(), value.end(), '"', '\'');
  return value;
}

std::string_view trimmed(std::string_view text, std::string_view characters) {
  const auto first = text.find_first_not_of(characters);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

// Reads the records of a CSV text one field at a time.
class CSVReader {
 public:
  explicit CSVReader(std::string_view text) : text_(text) {}

  struct Field {
    std::string text;  // unquoted; as it stands when the field has no quotes
    bool quoted = false;
  };

  bool atEnd() const { return position_ >= text_.size(); }
  // Whether the field just read ended at a comma (rather than at the record's end).
  bool atComma() const { return stop_ == ','; }

  // The next field; with `toComma`, it ends at a comma outside quotes, else it is the record's
  // last, and what follows a closing quote up to the record's end is dropped.
  Field field(bool toComma) {
    Field field;
    const auto start = position_;
    auto first = start;
    while (first < text_.size() && (text_[first] == ' ' || text_[first] == '\t')) ++first;
    if (first < text_.size() && text_[first] == '"') {
      field.quoted = true;
      position_ = first + 1;
      field.text = quoted();
      skipTo(toComma);
    } else {
      const auto length = skipTo(toComma);
      field.text = std::string(text_.substr(start, length));
    }
    return field;
  }

 private:
  // The inside of a quoted field, up to its closing quote or the end of the text.
  std::string quoted() {
    std::string text;
    while (position_ < text_.size()) {
      const char c = text_[position_++];
      if (c != '"') {
        text.push_back(c);
      } else if (position_ < text_.size() && text_[position_] == '"') {
        text.push_back('"');
        ++position_;
      } else {
        break;
      }
    }
    return text;
  }

  // Moves past the next line feed (or comma, with `toComma`) and gives the length from the
  // former position to it, less a carriage return before a line feed.
  std::size_t skipTo(bool toComma) {
    const auto start = position_;
    auto end = text_.find_first_of(toComma ? std::string_view(",\n") : std::string_view("\n"), start);
    if (end == std::string_view::npos) end = text_.size();
    stop_ = end < text_.size() ? text_[end] : '\0';
    position_ = std::min(end + 1, text_.size());
    if (stop_ == '\n' && end > start && text_[end - 1] == '\r') --end;
    return end - start;
  }

  std::string_view text_;
  std::size_t position_ = 0;
  char stop_ = '\0';
};

}  // namespace

void CSVTagsExporter::generateCSV(const MetadataEditor& editor) {
  const auto catalogue = TagsResources::shared().catalogue();
  std::string text;
  for (const auto& name : editor.currentTagNames()) {
    const auto item = catalogue->tag(name);
    if (!item) continue;
    const auto value = editor.currentValue(name);
    if (!value) continue;
    const auto csv = item->converter()->csvValueFromRawValue(Value(*value));
    if (!csv) continue;
    text += name.rawValue() + ", \"" + cleaned(*csv) + "\"\n";
  }
  csvData_ = std::move(text);
}

void CSVTagsImporter::importTags(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  CSVReader reader(text);
  while (!reader.atEnd()) {
    const auto name = reader.field(true);
    if (!reader.atComma()) continue;
    const auto value = reader.field(false);
    const auto nameText = trimmed(name.text, trimCharSet);
    const auto valueText = value.quoted ? std::string_view(value.text) : trimmed(value.text, trimCharSet);
    if (auto pair = TagsUtil::parseNV(nameText, Value(valueText))) values_.insert_or_assign(pair->first, pair->second);
  }
}

void CSVTagsImporter::importTagsAt(const std::filesystem::path& url) {
  const auto bytes = readFileContents(url);
  if (!bytes) return;
  if (const auto text = decodeUTF8OrMacRoman(*bytes)) importTags(*text);
}

}  // namespace orvelin
