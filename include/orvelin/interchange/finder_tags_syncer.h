#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "orvelin/support/coded_error.h"

namespace orvelin {

// Copies a file's tags (the "user.xdg.tags" attribute, see readFinderTags()) to its IPTC
// keywords, or the keywords back to the tags, for files and for the image files of folders.
//
// A folder gives the files that exiftool would take from it: its own files, with those of its
// subfolders when recurseSubfolders (subfolders whose name starts with "." are skipped, links
// to folders are not followed); only those whose extension is filterPathExtension when set
// (case ignored, a leading "." too, "*" for all files), else those of a type that exiftool
// knows (ExifToolCLI::supportedTypes()). A file named directly is taken whatever its type,
// unless filterPathExtension is set and does not match.
//
// Each sync() starts one exiftool run at most, over all its files, with their paths made
// absolute in an argument file ("-@", written through ORVGetFileSystem() into the temporary
// folder and removed on every way out). An argument file cannot carry a line break, so a file
// whose path holds a line feed or a carriage return, and a tag or keyword that holds one, are
// left out with a line in the debug log. When there is nothing to do, nothing runs.
//
// - copyFinderTagsToIPTCKeywords: the library reads each file's tags; the argument file holds
//   one section per file that has some (sections separated by "-execute"; the password,
//   "-overwrite_original_in_place" and "-IPTC:CodedCharacterSet=UTF8" go to every section as
//   "-common_args"), and each tag is removed and added again ("-IPTC:Keywords-=tag
//   -IPTC:Keywords+=tag"): the keywords the file had stay, and a tag it already had as a
//   keyword is not doubled. Only IPTC is written: the metadata working group's rules
//   ("-use MWG") would also write the keywords into XMP, which a copy from the file tags does
//   not ask for. A file without tags is not written. Unless overwriteInPlace, exiftool keeps
//   each file it writes aside as "<name>_original" (with the tags) and puts a new file in its
//   place, which the library then gives the tags again.
// - copyIPTCKeywordsToFinderTags: the run reads the IPTC keywords of every file ("-X", whose
//   texts come back exactly as they are, where JSON would turn "1.50" or "True" into numbers
//   and booleans); then each file's tags become those it had followed by its keywords that
//   were not among them, in order. A keyword with a comma cannot be stored among the tags and
//   is left out with a line in the debug log. A file without keywords keeps its tags.
//
// Nothing is thrown and nothing reported: exiftool's failures show only in the debug log, and
// a file whose tags cannot be read or written is skipped with a line there. An instance is not
// for two threads at once; separate instances may sync at the same time.
class FinderTagsSyncer {
 public:
  enum class Action { copyFinderTagsToIPTCKeywords, copyIPTCKeywordsToFinderTags };

  explicit FinderTagsSyncer(Action action = Action::copyFinderTagsToIPTCKeywords) : action(action) {}

  std::optional<std::string> password;             // exiftool's -password
  bool overwriteInPlace = false;                   // exiftool's -overwrite_original_in_place
  bool recurseSubfolders = false;
  std::optional<std::string> filterPathExtension;
  Action action;

  void sync(const std::filesystem::path& url);
  void sync(const std::vector<std::filesystem::path>& urls);
};

enum class FinderTagsSyncerErrorCode { unknownAction };

// "Unknown action". Kept for callers that name it: every Action is known, so it is never
// thrown.
class FinderTagsSyncerError : public CodedError<FinderTagsSyncerError, FinderTagsSyncerErrorCode> {
 public:
  using CodedError::CodedError;
  static const char* text(Code code);
};

}  // namespace orvelin
