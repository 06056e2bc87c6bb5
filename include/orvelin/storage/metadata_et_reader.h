#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvelin/exiftool/language.h"
#include "orvelin/storage/generic_storage.h"
#include "orvelin/storage/read_only_storage.h"
#include "orvelin/storage/read_write_storage.h"
#include "orvelin/support/coded_error.h"

namespace orvelin {


// Why a read through exiftool failed.
enum class ETMetadataReaderErrorCode { readerOutputIsEmpty, dataDecodingFailed };

class ETMetadataReaderError : public CodedError<ETMetadataReaderError, ETMetadataReaderErrorCode> {
 public:
  using CodedError::CodedError;
  // "Reader output is empty", "Data decoding failed": fixed English texts.
  static const char* text(Code code);
};

// Marker of the library's metadata readers (through exiftool, and in-process).
class MetadataReader {
 public:
  virtual ~MetadataReader() = default;
};

// Reads one file through exiftool into a storage: one `exiftool -g0:1 -m -j FILE` run, the
// groups filed under their streams (maker notes under the maker's stream), each value
// normalised to its text by the tag's converter. A tag the catalogue lacks (names exiftool makes
// up while it reads) is kept as exiftool prints it, lists joined with ","; with no record, no
// editor will change it. A value its converter cannot read is dropped.
//
// A small configuration object that keeps nothing between reads; one caller at a time. Reads
// block the calling thread for one process. The catalogue (TagsResources::shared()) must be
// loaded first, else no tag is typed and every value is kept as printed.
class MetadataETReader : public MetadataReader {
 public:
  explicit MetadataETReader(std::optional<std::string> password = std::nullopt) : password(std::move(password)) {}

  std::optional<Language> language;
  std::optional<std::string> password;
  bool enableRawValues = false;
  bool enableShortTags = false;
  bool disableComposite = true;
  bool forceRawLocation = false;
  // A value containing any of these texts is dropped. An empty entry matches nothing.
  std::vector<std::string> bannedValues{"-b option to extract"};
  // A group whose name contains any of these texts (case-sensitive) is dropped. An empty entry
  // matches nothing.
  std::vector<std::string> bannedStreams{"ExifTool"};

  // Back to the default banned values and streams.
  void setupDefaultBannedValues();
  // The profile of editors: raw values, short tags, no composite tags.
  void setupDefaultForEditorReading();

  // Throw ETMetadataReaderError when exiftool prints nothing or no JSON array of objects.
  ReadOnlyStorage readReadOnlyStorage(const std::filesystem::path& url) const;
  ReadWriteStorage readReadWriteStorage(const std::filesystem::path& url) const;

  // Fills `storage` from exiftool's JSON output (as printed by the command above). Public so
  // that output obtained otherwise can be read the same way.
  void fillStorage(GenericStorage& storage, std::string_view output) const;

 private:
  void fillStorage(GenericStorage& storage) const;
};

}  // namespace orvelin
