#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "orvelin/editor/metadata_editor.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

// The CSV tag file: UTF-8 text without a header line, one tag a line, the name and the value
// in double quotes after a comma and a blank:
//
//   EXIF:Make, "Canon"
//   EXIF:ISO, "400"
//
// Neither class reports errors: what could not be read or written is simply not there. Not for
// use by two threads at once; the editor is read through its own thread-safe accessors.

class CSVTagsExporter {
 public:
  // Absent until generateCSV().
  const std::optional<std::string>& csvData() const { return csvData_; }

  // One line per current tag of `editor` that the catalogue knows and whose converter gives a
  // CSV form, in the editor's order. Values are not escaped but cleaned so that the line holds
  // together: line feeds become blanks, then double quotes single ones. No tag gives the empty
  // text.
  void generateCSV(const MetadataEditor& editor);

 private:
  std::optional<std::string> csvData_;
};

class CSVTagsImporter {
 public:
  // The values read so far, in the canonical form of each tag's converter.
  const std::map<TagName, std::string>& values() const { return values_; }

  // What is trimmed off a name, and off a value that does not stand in quotes.
  std::string trimCharSet = " \t\"";

  void clearValuesCache() { values_.clear(); }

  // Reads the records of `text` with the quoting a spreadsheet writes: a field that starts
  // (after blanks and tabs) with a double quote runs to the closing quote, doubled quotes in it
  // standing for one, and keeps its commas and line feeds; a record ends at a line feed outside
  // quotes (a carriage return before it goes). The name stands before the record's first comma,
  // the value after it; in an unquoted value later commas stay. Records without a comma, and
  // names the catalogue does not know, are skipped; a later record of a name replaces an
  // earlier one.
  void importTags(std::string_view text);
  // The same for the text of a file, read as UTF-8 (else Mac OS Roman); a file that cannot be
  // read adds nothing.
  void importTagsAt(const std::filesystem::path& url);

 private:
  std::map<TagName, std::string> values_;
};

}  // namespace orvelin
