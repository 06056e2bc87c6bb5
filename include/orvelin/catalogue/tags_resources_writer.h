#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvelin/catalogue/catalogue_run.h"
#include "orvelin/exiftool/language.h"
#include "orvelin/support/executor.h"
#include "orvelin/support/operation_queue.h"
#include "orvelin/tags/tag_item.h"
#include "orvelin/tags/tag_name.h"

namespace orvelin {

class TagsResourcesWriter;

// Callbacks of a writer, each placed asynchronously on the writer's delegation queue.
class TagsResourcesWriterDelegate {
 public:
  virtual ~TagsResourcesWriterDelegate() = default;
  virtual void writerWillStart(TagsResourcesWriter& writer) = 0;
  virtual void writerDidProgress(TagsResourcesWriter& writer) = 0;
  virtual void writerDidFinish(TagsResourcesWriter& writer) = 0;
};

// What the generator keeps of one stream's tag list.
struct TagsParseResult {
  std::vector<TagItemData> records;  // in order of index
  // For each language of Language::allBasic(): strings key -> text.
  std::map<Language::Value, std::map<std::string, std::string>> strings;
};

// Generates a catalogue folder from the exiftool at hand: for each stream, exiftool's listing
// of its tags (`exiftool -X -f -listx -<stream>:all`), corrected by the override resources
// ("TagsOverriddenTypes.json", "TagsOverriddenAccess.json", "TagsOverriddenCounts.json"), gives
// "Tags/<stream>.tags" and one "Localized tags/<Language>.lproj/<stream>.strings" per language;
// "Tags/streams.json" lists the streams. "TagsOverriddenSources.json" names, for a stream that
// exiftool fills at read time from tables of another name, the groups whose listings make it.
// A group that exiftool will not list by name (one named like an IFD) is made of the tables
// that bear it as their family-1 group in exiftool's whole listing.
//
// The streams are the caller's choice, and are written as given: each under its raw name, on
// exiftool's command line, in the records, the strings keys and the file names. The writer
// never renames a stream. A catalogue that the library's reader will match against exiftool's
// output must therefore name the streams as exiftool does ("DjVu" and "GeoTiff", not the
// constants' "DJVU" and "GeoTIFF"): streamsKnownToExifTool() gives such a list.
//
// The streams are split into a few runs of exiftool, as many as the processor has cores (up
// to 8), each listing its streams one after the other in one process: the listings are those
// that one run per stream would print, without loading exiftool's tables once per stream. The
// runs go side by side on the operation queue, and each stream is counted when it is written.
// Failures are printed on the library's console (and written to the debug log when it is on)
// and skip that stream or language; a run always ends with writerDidFinish. Made with make()
// and held by shared_ptr; set the fields before writeResources(). The counters are guarded by
// an internal lock (the "process queue"); the override maps are only read once the run has
// started. The last owner may let the writer go during a run: destroying it drops the runs not
// begun, waits for those under way and sends no more callbacks.
class TagsResourcesWriter : public std::enable_shared_from_this<TagsResourcesWriter> {
 public:
  using StringMap = std::map<std::string, std::map<std::string, std::string, std::less<>>, std::less<>>;
  using CountMap = std::map<std::string, std::map<std::string, std::int64_t, std::less<>>, std::less<>>;
  using SourceMap = std::map<std::string, std::vector<std::string>, std::less<>>;

  static std::shared_ptr<TagsResourcesWriter> make(std::filesystem::path directoryURL);

  // For callers: every stream under which the library's reader files what exiftool reads, in
  // exiftool's spelling ("DjVu", "GeoTiff"): the groups of family 0 but MakerNotes, in
  // exiftool's order, then the family-1 groups of exiftool's maker-note tables (the reader
  // files a group "MakerNotes:Canon" under "Canon"), and those that TagsOverriddenSources.json
  // makes, in exiftool's order of family 1. A maker-note group that exiftool will not list by
  // name counts when a table bears it. Runs exiftool twice; empty when it cannot run.
  static std::vector<TagStream> streamsKnownToExifTool();
  // Puts the catalogue folders ("Tags" and "Localized tags") of `fresh` in place of those of
  // `directory`, both or neither, by moves through ORVGetFileSystem(). A former folder goes into
  // `fresh` ("former Tags", "former Localized tags"), to be removed with it, just before its new
  // one takes its place. When a move fails, the moves made are undone in reverse order, so that
  // `directory` keeps both its former folders, and the failure is returned ("Localized tags
  // cannot be replaced: ..."). Should an undo fail too, the text says so and names the folder
  // in `fresh` where a former one stays: the caller must then keep `fresh`.
  // REQUIRES: `fresh` holds both folders, on the file system of `directory`.
  static std::optional<std::string> replaceCatalogue(const std::filesystem::path& fresh,
                                                     const std::filesystem::path& directory);

  TagsResourcesWriter(const TagsResourcesWriter&) = delete;
  TagsResourcesWriter& operator=(const TagsResourcesWriter&) = delete;
  ~TagsResourcesWriter();

  const std::filesystem::path directoryURL;
  std::vector<TagStream> streams;
  bool onlyKeepWritable = false;
  Executor* delegationQueue;  // default: the main queue
  std::weak_ptr<TagsResourcesWriterDelegate> delegate;

  // Starts the generation; a call while writing is ignored. Returns at once.
  void writeResources();
  // Blocks until every stream is written.
  void waitResourcesGeneration();

  bool isWriting() const;
  std::int64_t completedUnit() const;
  std::int64_t totalUnit() const;  // streams + 1 (the stream list)
  double progress() const;         // 1.0 when totalUnit is 0
  // The streams whose generation has ended (written or failed), in the order they ended, since
  // writeResources() began the current or the last run. For progress lines naming the stream.
  std::vector<TagStream> completedStreams() const;

  // The corrections read from the override resources at construction: stream -> tag -> type
  // (a TagType raw value), access ("write" means writable, anything else not), count; and
  // stream -> the exiftool groups whose listings, in this order, make the stream in place of
  // its own (the first record of a name wins); their records are read-only.
  StringMap overriddenTypes;
  StringMap overriddenAccess;
  CountMap overriddenCounts;
  SourceMap overriddenSources;

  // The steps of one stream, public for the tool and tests: parse exiftool's -listx XML of
  // `stream` (corrected by the overrides; absent when the XML is not well-formed), and write
  // the result.
  std::optional<TagsParseResult> parse(std::string_view xml, const TagStream& stream) const;
  void exportTags(const std::vector<TagItemData>& records, const TagStream& stream) const;
  void exportStrings(const TagsParseResult& result, const TagStream& stream) const;
  // Applies the overrides to one record: its type, access and count from the override maps,
  // and "string" for the ICC profile's tags of unknown type ("?"). (A stream made from other
  // groups' listings takes the corrections of the group each record comes from.) A type that is no TagType
  // raw value stays as it is (the reader reads such a tag as text, read-only); a record
  // without a type is printed.
  void fixTagItemData(TagItemData& record) const;

 private:
  explicit TagsResourcesWriter(std::filesystem::path directoryURL);

  // At most this many runs of exiftool side by side: the operation queue's width.
  static constexpr std::size_t kMaximumRuns = 8;

  void exportStreams() const;
  // The streams split into runs of exiftool: those that need its whole listing in one run, the
  // others, in order, in as many runs as there are cores (at most kMaximumRuns).
  std::vector<std::vector<TagStream>> batches() const;
  // The exiftool groups whose listings make `stream`: its overridden sources, else itself.
  std::vector<std::string> sources(const TagStream& stream) const;
  // Generates the streams of one run, each counted once written (or failed).
  void generateTags(const std::vector<TagStream>& batch);
  void unitDone(std::string_view stream);

  mutable std::mutex countersLock_;  // guards, through run_, the counters
  CatalogueRunCounter run_{countersLock_};

  OperationQueue operationQueue_;
};

}  // namespace orvelin
