#include "orvelin/interchange/finder_tags_syncer.h"

#include <algorithm>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "common/failing_file_system.h"
#include "common/recording_runner.h"
#include "common/test_support.h"
#include "orvelin/exiftool/exiftool_cli.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using Tags = std::vector<std::string>;
using Action = FinderTagsSyncer::Action;
using testing::finderTagsOf;
using testing::setFinderTags;

Tags keywordsOf(const fs::path& file) {
  ExifToolCLI cli;
  cli.run({"-s3", "-sep", "|", "-IPTC:Keywords", file.string()});
  std::istringstream stream(cli.stdOutData().value_or(""));
  Tags keywords;
  for (std::string keyword; std::getline(stream, keyword, '|');)
    keywords.push_back(keyword.substr(0, keyword.find('\n')));
  return keywords;
}

void sync(Action action, const std::vector<fs::path>& urls, bool recurse = false, std::optional<std::string> ext = {},
          bool inPlace = true) {
  FinderTagsSyncer syncer(action);
  syncer.overwriteInPlace = inPlace;
  syncer.recurseSubfolders = recurse;
  syncer.filterPathExtension = std::move(ext);
  syncer.sync(urls);
}

TEST(FinderTagsSyncer, TagsAndKeywordsAddUpBothWays) {
  testing::ScratchFolder folder;
  std::vector<fs::path> files;  // an odd name, one that cannot be synced, one whose tags cannot be written
  for (const auto* name : {"-x 'q\" é $y @z.jpg", "line\nfeed.jpg", "unwritable.jpg"}) {
    fs::copy_file(testing::dataDirectory() / "Canon.jpg", files.emplace_back(folder / name));
    setFinderTags(files.back(), {"old", "a"});
  }
  const auto bare = testing::copySample("PNG.png", folder.path());  // without tags, then without keywords
  ExifToolCLI().run({"-overwrite_original_in_place", "-IPTC:Keywords=x,y", files[0].string()});
  testing::DebugLogCapture log;
  testing::ScratchFolder temporary;
  testing::EnvironmentScope environment("TMPDIR", temporary.path().string());
  sync(Action::copyFinderTagsToIPTCKeywords, files);
  for (const auto& file : files) setFinderTags(file, {"a", "b", "True", "1.50", " blank", "$a @é"});
  for (int run = 0; run < 2; ++run) {
    sync(Action::copyFinderTagsToIPTCKeywords, {files[0], files[1], files[2], bare});
    EXPECT_EQ(keywordsOf(files[0]), (Tags{"x,y", "old", "a", "b", "True", "1.50", " blank", "$a @é"})) << run;
  }
  EXPECT_EQ(keywordsOf(files[1]), Tags{});
  EXPECT_EQ(keywordsOf(bare), Tags{});
  for (const auto& file : {files[0], files[1], files[2], bare}) setFinderTags(file, {"z", "b"});
  testing::FailingFileSystem fileSystem;
  fileSystem.fails = [&](const auto& step) { return step.name == "writeAttribute" && step.path == files[2]; };
  sync(Action::copyIPTCKeywordsToFinderTags, {files[0], files[1], files[2], bare});
  EXPECT_EQ(finderTagsOf(files[0]), (Tags{"z", "b", "old", "a", "True", "1.50", " blank", "$a @é"}));
  for (const auto& file : {files[1], files[2], bare}) EXPECT_EQ(finderTagsOf(file), (Tags{"z", "b"})) << file;
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 4);  // in place
  EXPECT_TRUE(fs::is_empty(temporary.path()));  // the argument files are gone
  const auto text = log.text();
  EXPECT_EQ(testing::occurrences(text, "a path with a line break cannot be synced"), 4u);
  EXPECT_EQ(testing::occurrences(text, "unwritable.jpg: the file tags cannot be written"), 1u);
  EXPECT_EQ(testing::occurrences(text, "\"x,y\" holds a comma"), 1u);
}

TEST(FinderTagsSyncer, FoldersAreTakenAsExiftoolWouldInOneRun) {
  const struct {
    bool recurse;
    std::optional<std::string> extension;
    std::set<std::string> synced;
  } cases[] = {
      {false, std::nullopt, {"d/top.jpg", "d/top.tif", "given.jpg"}},
      {true, std::nullopt, {"d/top.jpg", "d/top.tif", "d/sub/deep.jpg", "d/sub/sub/deep.tif", "given.jpg"}},
      {true, ".TIF", {"d/top.tif", "d/sub/sub/deep.tif"}},
  };
  const std::vector<std::pair<std::string, std::string>> files{
      {"d/top.jpg", "Canon.jpg"},      {"d/top.tif", "ExifTool.tif"},          {"d/notes.txt", "XMP.xmp"},
      {"d/sub/deep.jpg", "Canon.jpg"}, {"d/sub/sub/deep.tif", "ExifTool.tif"}, {"d/.hidden/h.jpg", "Canon.jpg"},
      {"given.jpg", "Canon.jpg"}};
  for (const auto& c : cases) {
    testing::ScratchFolder scratch;
    for (const auto& [name, sample] : files) {
      fs::create_directories((scratch / name).parent_path());
      fs::copy_file(testing::dataDirectory() / sample, scratch / name);
      setFinderTags(scratch / name, {"t"});
    }
    testing::RecordingRunner runner;
    sync(Action::copyFinderTagsToIPTCKeywords, {scratch / "d", scratch / "given.jpg"}, c.recurse, c.extension, false);
    EXPECT_EQ(runner.commands().size(), 1u) << c.synced.size();
    std::set<std::string> synced;
    for (const auto& [name, sample] : files) {
      const auto keywords = keywordsOf(scratch / name);
      // A file that exiftool wrote anew keeps its tags.
      if (std::count(keywords.begin(), keywords.end(), "t") && finderTagsOf(scratch / name) == Tags{"t"})
        synced.insert(name);
    }
    EXPECT_EQ(synced, c.synced);
  }
}

}  // namespace
}  // namespace orvelin
