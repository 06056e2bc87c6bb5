// The exiftool command line, its persistent transport, the languages it speaks, and the jobs
// that take one command.

#include <fcntl.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/editors.h"
#include "common/event_log.h"
#include "common/recording_runner.h"
#include "common/test_support.h"
#include "common/user_language.h"
#include "exiftool/exiftool_pool.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/exiftool/one_command_jobs.h"
#include "orvelin/storage/metadata_et_reader.h"
#include "orvelin/support/localization.h"
#include "orvelin/support/process_runner.h"
#include "orvelin/support/user_defaults.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::RecordingRunner;
using testing::UserLanguageScope;

// Records the requests and answers `result` instead of starting a process.
ProcessResult canned(std::string output = "", std::string error = "") {
  return {true, 0, std::move(output), std::move(error)};
}

TEST(ExifToolCLIArguments, EveryOptionInItsPlace) {
  testing::ExtraArgumentsScope extra({"-api", "LargeFileSupport=1"});
  RecordingRunner runner(canned());
  ExifToolCLI cli(Language::french);
  cli.enableShortTags = true;
  cli.enableRawValues = true;
  cli.disableComposite = true;
  cli.enableCorrection = true;
  cli.password = "p";
  cli.overwriteInPlace = true;
  cli.forceRawLocation = true;
  cli.recurseSubfolders = true;
  cli.filterPathExtension = "jpg";
  cli.run({"x"});
  const auto request = runner.requests().at(0);
  EXPECT_EQ(request.executable, ExifToolCLI::orvPerlExecutableURL());
  EXPECT_EQ(request.environment.at(0), "LC_CTYPE=UTF-8");
  EXPECT_THAT(request.arguments,
              ElementsAre(ExifToolCLI::exiftoolExecutableURL().string(), "-charset", "filename=UTF8", "-api",
                          "LargeFileSupport=1", "-lang", "fr", "-s", "-n", "-e", "-F", "-password", "p",
                          "-overwrite_original_in_place", "-c", "%.6f", "-r", "-ext", "jpg", "x"));
}

// The local language is the user's, in exiftool's code for it (zh-cn, not zh-Hans), and exiftool
// prints in it.
TEST(ExifToolCLIArguments, LocalLanguageFollowsTheUsersLanguage) {
  const std::pair<Language, const char*> cases[] = {{Language::dutch, "Geen flits\n"},
                                                     {Language::chineseCN, "无闪光功能\n"}};
  for (const auto& [language, flash] : cases) {
    UserLanguageScope scope(language);
    ExifToolCLI cli(Language::local);
    cli.run({"-s3", "-Flash", (testing::dataDirectory() / "Canon.jpg").string()});
    EXPECT_EQ(cli.buildStdOutString(), flash) << language.rawValue();
  }
}

TEST(ExifToolCLIArguments, TheCommandGoesToTheDebugLogWithoutThePassword) {
  testing::DebugLogCapture log;
  ExifToolCLI cli;
  cli.password = "s3cret";
  RecordingRunner runner(canned());
  cli.run({"-ver"});
  const auto text = log.text();
  EXPECT_THAT(text, HasSubstr("COMMAND: exiftool " + ExifToolCLI::exiftoolExecutableURL().string() +
                              " -charset filename=UTF8 -password *** -ver\n"));
  EXPECT_THAT(text, Not(HasSubstr("s3cret")));
}

TEST(ExifToolCLIOutput, InvalidUTF8IsReadAsMacRoman) {
  RecordingRunner runner(canned("Caf\x8E \xA5", "ok"));  // "Café •" in Mac OS Roman
  ExifToolCLI cli;
  cli.run({});
  EXPECT_EQ(cli.buildStdOutString(), "Café •");
  EXPECT_EQ(cli.buildStdErrString(), "ok");
  EXPECT_EQ(cli.stdOutData(), "Caf\x8E \xA5");
}

TEST(ExifToolCLIOutput, AMissingOrUnusableLauncherGivesEmptyOutputAndAClearError) {
  const auto launcher = ExifToolCLI::orvPerlExecutableURL().string();
  const struct {
    int launchError;
    std::string error;
  } cases[] = {
      {ENOENT, "exiftool launcher not found at " + launcher + "; install exiftool (Debian: libimage-exiftool-perl)"},
      {EACCES, "exiftool launcher at " + launcher + " cannot be run (Permission denied)"},
  };
  for (const auto& c : cases) {
    RecordingRunner runner(ProcessResult{false, -1, "partial", "Permission denied", c.launchError});
    ExifToolCLI cli;
    cli.run({"-ver"});
    EXPECT_EQ(cli.stdOutData(), "");
    EXPECT_EQ(cli.buildStdErrString(), c.error);
    EXPECT_EQ(cli.exitStatus(), std::nullopt);
  }
}

// A file name in UTF-8 reaches exiftool as it is (no shell between: quotes and '$' are part of
// it); a missing file shows on standard error and in the exit status.
TEST(ExifToolCLIRun, FileNamesInUTF8AndAMissingFile) {
  testing::ScratchFolder folder;
  const auto strange = folder / "Ça va — 写真 'quoted' $x.jpg";
  std::filesystem::copy_file(testing::dataDirectory() / "Canon.jpg", strange);
  ExifToolCLI cli;
  cli.run({"-s3", "-FileName", strange.string()});
  EXPECT_EQ(cli.buildStdOutString(), strange.filename().string() + "\n");
  EXPECT_EQ(cli.exitStatus(), 0);
  cli.run({"-j", (folder / "missing.jpg").string()});
  EXPECT_EQ(cli.stdOutData(), "");
  EXPECT_THAT(*cli.buildStdErrString(), HasSubstr("File not found"));
  EXPECT_EQ(cli.exitStatus(), 1);
}

// exiftool reads the file's dates in the zone the library works in, not the system's.
TEST(ExifToolCLIRun, FileDatesInTheProcesssTimeZone) {
  testing::ScratchFolder folder;
  const auto file = folder / "file.txt";
  testing::writeFile(file, "x");
  const timespec times[2] = {{0, UTIME_OMIT}, {1600000000, 0}};  // 2020-09-13 12:26:40 UTC
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  ExifToolCLI cli;
  {
    testing::EnvironmentScope zone("TZ", "Asia/Tokyo");
    cli.run({"-s3", "-FileModifyDate", file.string()});
  }
  EXPECT_EQ(cli.buildStdOutString(), "2020:09:13 21:26:40+09:00\n");
}

// The persistent transport gives what a spawned exiftool gives, survives the loss of a process,
// and keeps no option of one command for the next.
class Pool : public ::testing::Test {
 protected:
  void SetUp() override { ORVSetPersistentExifTool(true); }
  void TearDown() override {
    ORVSetPersistentExifTool(false);
    ORVSetPersistentExifToolTimeLimit(std::chrono::minutes(5));
  }
};

std::string describe(const ProcessResult& result) {
  return "status " + std::to_string(result.exitStatus) + "\nout: " + result.standardOutput.substr(0, 300) +
         "\nerr: " + result.standardError;
}

TEST_F(Pool, EveryCommandGivesWhatASpawnedExifToolGives) {
  testing::ScratchFolder scratch;
  const auto canon = testing::copySample("Canon.jpg", scratch.path());
  const auto withArtist = (scratch / "artist.jpg").string();
  ExifToolCLI().run({"-EXIF:Artist=Me", "-o", withArtist, canon.string()});
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(testing::dataDirectory())) files.push_back(entry.path());
  // More samples, such as the project's whole corpus, when ORVELIN_CORPUS names their folder.
  if (const char* corpus = std::getenv("ORVELIN_CORPUS"))
    for (const auto& entry : fs::recursive_directory_iterator(corpus))
      if (entry.is_regular_file() && entry.path().extension() != ".md") files.push_back(entry.path());
  std::sort(files.begin(), files.end());

  // The commands as the library builds them for a spawned process.
  RecordingRunner keeping;
  ORVSetPersistentExifTool(false);
  MetadataETReader reader;
  reader.setupDefaultForEditorReading();
  for (const auto& file : files) {
    try {
      reader.readReadWriteStorage(file);
    } catch (const std::exception&) {
      // a file exiftool cannot read still makes its command
    }
    ExifToolCLI().run({"-b", "-EXIF:ThumbnailImage", file.string()});
  }
  // A plug-in loaded by one command stays loaded in its process: it must not serve the next.
  ExifToolCLI().run({"-use", "MWG", "-o", (scratch / "%f-out.%e").string(), "-EXIF:Artist=A = $b @c\\d",
             "-EXIF:ISO=99999999", "-XMP-dc:Title= leading", "-XMP-dc:Description=two\nlines", canon.string()});
  ExifToolCLI().run({"-s", "-Creator", withArtist});
  ExifToolCLI().run({"-listx", "-EXIF:All"});
  ExifToolCLI().run({"-j", (scratch / "missing.jpg").string()});
  // No option of one command reaches the next one in its process.
  ExifToolCLI german(Language::german);
  german.password = "secret";
  german.run({"-EXIF:Make", "-d", "%Y", "-DateTimeOriginal", canon.string()});
  ExifToolCLI().run({"-EXIF:Make", "-DateTimeOriginal", canon.string()});
  ASSERT_EQ(keeping.requests().size(), 2 * files.size() + 6);

  ORVSetPersistentExifTool(true);
  fs::remove(scratch / "Canon-out.jpg");
  for (const auto& request : keeping.requests()) {
    SCOPED_TRACE(request.arguments.back());
    const auto& spawned = ProcessRunner::Default()->run(request);
    fs::remove(scratch / "Canon-out.jpg");
    const auto pooled = exiftool_pool::run(request);
    ASSERT_TRUE(pooled.has_value());
    EXPECT_EQ(pooled->exitStatus, spawned.exitStatus) << describe(*pooled) << describe(spawned);
    EXPECT_EQ(pooled->standardOutput, spawned.standardOutput);
    EXPECT_EQ(pooled->standardError, spawned.standardError);
  }
  EXPECT_FALSE(ORVPersistentExifToolProcessIDs().empty());
}

TEST_F(Pool, ALostOrSilentProcessCostsItsCommandARetry) {
  const auto file = (testing::dataDirectory() / "Canon.jpg").string();
  const auto read = [&] {
    ExifToolCLI cli;
    cli.run({"-s3", "-EXIF:Make", file});
    return cli.stdOutData().value_or("") + std::to_string(cli.exitStatus().value_or(-1));
  };
  ASSERT_EQ(read(), "Canon\n0");
  ORVSetPersistentExifToolTimeLimit(std::chrono::seconds(2));
  for (const int signal : {SIGKILL, SIGSTOP}) {
    SCOPED_TRACE(signal);
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
      threads.emplace_back([&] {
        for (int i = 0; i < 4; ++i) good += read() == "Canon\n0";
      });
    const auto pids = ORVPersistentExifToolProcessIDs();
    ASSERT_FALSE(pids.empty());
    ::kill(pids.front(), signal);
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(good, 12);
  }
}

TEST_F(Pool, ArgumentsThatCannotTravelAreSpawned) {
  RecordingRunner keeping;
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"-ver", "-execute"}, {"-EXIF:Artist=$a\nb", "x.jpg"}, {"-ver", "-@"}})
    ExifToolCLI().run(arguments);
  EXPECT_EQ(keeping.requests().size(), 3u);
  ExifToolCLI().run({"-ver"});
  EXPECT_EQ(keeping.requests().size(), 3u);
}

TEST(MediaKinds, FromFileExtensions) {
  const std::pair<const char*, std::optional<MediaKind>> cases[] = {
      {"/a/b.HEIF", MediaKind::image}, {"a.RAM", MediaKind::audio},     {"a.wmv", MediaKind::audio},
      {"clip.mov", MediaKind::movie},  {"doc.pdf", MediaKind::image},   {"page.html", MediaKind::other},
      {"a", std::nullopt},             {"a.zzz", std::nullopt},         {"dir.jpg/file", std::nullopt},
  };
  for (const auto& [path, kind] : cases) EXPECT_EQ(MediaKind::fromURL(path), kind) << path;
  EXPECT_EQ(MediaKind(MediaKind::movie).name(), "movie");
  UserLanguageScope english(Language::english);
  EXPECT_EQ(MediaKind(MediaKind::audio).localizedName(), "Audio");
}

// A set of languages keeps finding its members when the user's language changes.
TEST(Language, OrderDoesNotChangeWithTheUsersLanguage) {
  UserLanguageScope scope(Language::english);
  const std::set<Language> languages(Language::all().begin(), Language::all().end());
  Language::setUserLanguage(Language::german);  // "Englisch" < "Französisch", where "English" > "Czech"
  ASSERT_EQ(Language(Language::english).localizedName(), "Englisch");
  for (const Language language : Language::all()) EXPECT_EQ(languages.count(language), 1u) << language.rawValue();
}

TEST(Language, LocalStandsForTheLanguageOfTheProcessLocale) {
  UserLanguageScope scope(Language::local);
  struct ResetCache {
    ~ResetCache() { ORVResetLocalizationCache(); }
  } reset;  // after the variables are restored
  testing::EnvironmentScope environment;
  // LC_ALL, LC_MESSAGES and LANG (absent: unset), and the language that local stands for.
  const struct {
    std::optional<std::string> all, messages, lang;
    Language::Value local;
    const char* why;
  } cases[] = {
      {{}, {}, {}, Language::english, "no locale at all"},
      {"C", {}, "fr_FR.UTF-8", Language::english, "LC_ALL comes first, and C is no language"},
      {{}, "fr_FR.UTF-8", "de_DE.UTF-8", Language::french, "LC_MESSAGES before LANG"},
      {{}, {}, "de_DE.UTF-8@euro", Language::german, "a modifier"},
      {"zh_TW.UTF-8", {}, {}, Language::chineseTW, "a region"},
      {"pt_BR.UTF-8", {}, {}, Language::english, "no localisation for it"},
  };
  for (const auto& c : cases) {
    environment.set("LC_ALL", c.all);
    environment.set("LC_MESSAGES", c.messages);
    environment.set("LANG", c.lang);
    ORVResetLocalizationCache();
    EXPECT_EQ(Language(Language::local).equivalentLanguage(), c.local) << c.why;
    EXPECT_EQ(Language(Language::local).name(), Language(c.local).name()) << c.why;
  }
  // A chosen language does not depend on the locale.
  environment.set("LC_ALL", "fr_FR.UTF-8");
  ORVResetLocalizationCache();
  EXPECT_EQ(Language(Language::swedish).equivalentLanguage(), Language::swedish);
  Language::setUserLanguage(Language::german);
  EXPECT_EQ(Language(Language::local).equivalentLanguage(), Language::german);
}

TEST(Language, FromExifToolValues) {
  const std::pair<const char*, std::optional<Language>> cases[] = {
      {"de", Language::german}, {"zh_cn", Language::chineseCN}, {"zh-tw", Language::chineseTW},
      {"zh-CN", std::nullopt},  {"Deutsch", std::nullopt},      {"", std::nullopt},
  };
  for (const auto& [text, language] : cases) EXPECT_EQ(Language::fromExifToolValue(text), language) << text;
}

TEST(Language, UserLanguageIsStoredAndAnnounced) {
  UserLanguageScope scope;
  auto defaults = ORVGetUserDefaults();
  defaults->remove(Language::userLanguageKey());
  EXPECT_EQ(Language::userLanguage(), Language::local);
  defaults->set(Language::userLanguageKey(), "Klingon");
  EXPECT_EQ(Language::userLanguage(), Language::local);

  std::vector<std::string> events;
  {
    testing::Observation will(Language::willChangeUserLangageNotification, nullptr, [&](const Notification&) {
      events.push_back("will:" + std::string(Language::userLanguage().rawValue()));
    });
    testing::Observation did(Language::didChangeUserLangageNotification, nullptr, [&](const Notification&) {
      events.push_back("did:" + std::string(Language::userLanguage().rawValue()));
    });
    Language::setUserLanguage(Language::italian);
  }

  EXPECT_THAT(events, ElementsAre("will:Local", "did:Italian"));
  EXPECT_EQ(Language::userLanguage(), Language::italian);
  // Stored on disk as well.
  UserDefaults reread(defaults->path());
  EXPECT_EQ(reread.string("ORVUserLanguage"), "Italian");
}

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// An image's size as "WIDTHxHEIGHT", or "absent".
std::string sizeOf(const std::optional<Image>& image) {
  return image ? std::to_string(image->width()) + "x" + std::to_string(image->height()) : "absent";
}

class OneCommandJobs : public ::testing::Test {
 protected:
  fs::path sample(const std::string& name) { return testing::copySample(name, files_.path()); }
  const fs::path& folder() const { return files_.path(); }
  const fs::path& temporary() const { return temporary_.path(); }

  // Puts `jpeg` into `file` as the embedded image `tag` with exiftool itself.
  static void embed(const fs::path& file, const std::string& tag, const std::string& jpeg) {
    testing::ScratchFolder scratch;
    const auto image = scratch / "embedded.jpg";
    testing::writeFile(image, jpeg);
    testing::exifToolInPlace(file, {"-" + tag + "<=" + image.string()});
  }

  // The thumbnail of ExifTool.jpg (a JFIF extension thumbnail of 45 x 60 pixels), as exiftool
  // extracts it.
  static std::string sampleThumbnailJPEG() {
    const auto data = ThumbnailReader().readData(testing::dataDirectory() / "ExifTool.jpg");
    EXPECT_TRUE(data);
    return data.value_or("");
  }

  static ReadOnlyStorage read(const fs::path& file) { return MetadataETReader().readReadOnlyStorage(file); }

 private:
  testing::ScratchFolder files_;
  testing::ScratchFolder temporary_;
  testing::EnvironmentScope temporaryScope_{"TMPDIR", temporary_.path().string()};
};

TEST_F(OneCommandJobs, TheCleanerRemovesAllMetadata) {
  const auto file = sample("ExifTool.jpg");
  ASSERT_TRUE(read(file).containsStream(TagStream::exif));
  {
    RecordingRunner runner;
    MetadataETCleaner().clean(file);
    EXPECT_THAT(runner.onlyCommand(), Not(Contains("-F")));  // no correction unless asked
  }
  const auto after = read(file);
  for (const auto& stream : {"EXIF", "IPTC", "XMP", "Photoshop", "MakerNotes", "ICC_Profile"})
    EXPECT_FALSE(after.containsStream(TagStream(stream))) << stream;
  EXPECT_TRUE(after.containsStream(TagStream::file));
  EXPECT_THAT(namesIn(folder()), ElementsAre("ExifTool.jpg"));  // in place: no backup
  EXPECT_EQ(sizeOf(Image::decodeFile(file)), "8x8");             // the picture itself is untouched

  // Not in place, exiftool keeps its backup.
  const auto other = sample("Canon.jpg");
  const auto original = testing::readFile(other);
  RecordingRunner runner;
  MetadataETCleaner cleaner;
  cleaner.overrideInPlace = false;
  cleaner.enableCorrection = true;
  cleaner.clean(other);
  EXPECT_THAT(runner.onlyCommand(), Contains("-F"));
  EXPECT_THAT(namesIn(folder()), ElementsAre("Canon.jpg", "Canon.jpg_original", "ExifTool.jpg"));
  EXPECT_EQ(testing::readFile(folder() / "Canon.jpg_original"), original);
  EXPECT_FALSE(read(other).containsStream(TagStream::exif));

  // Failures are swallowed: a missing file, and one that is no image, left as it was.
  EXPECT_NO_THROW(cleaner.clean(folder() / "missing.jpg"));
  const auto text = folder() / "notes.jpg";
  testing::writeFile(text, "not an image");
  EXPECT_NO_THROW(cleaner.clean(text));
  EXPECT_EQ(testing::readFile(text), "not an image");
  EXPECT_THAT(namesIn(folder()), ElementsAre("Canon.jpg", "Canon.jpg_original", "ExifTool.jpg", "notes.jpg"));
}

// Each reader decodes its own embedded image, and nothing else: absent, without an error, when
// the file has none, when the bytes are no JPEG, or when there is no file.
TEST_F(OneCommandJobs, TheReadersDecodeTheirOwnEmbeddedImage) {
  const auto data = testing::dataDirectory();
  const auto raw = sample("DNG.dng");
  EXPECT_EQ(sizeOf(JPGFromRawReader().read(raw)), "absent");
  embed(raw, "JpgFromRaw", sampleThumbnailJPEG());
  const ThumbnailReader thumbnail;
  const JPGFromRawReader jpgFromRaw;
  const struct {
    const char* name;
    const EmbeddedImageReader& reader;
    fs::path file;
    const char* size;
  } cases[] = {
      {"a JFIF extension thumbnail", thumbnail, data / "ExifTool.jpg", "45x60"},
      {"no thumbnail", thumbnail, data / "Canon.jpg", "absent"},
      {"a PNG", thumbnail, data / "PNG.png", "absent"},
      {"a sidecar", thumbnail, data / "XMP.xmp", "absent"},
      {"thumbnail bytes that are no JPEG", thumbnail, data / "GPS.jpg", "absent"},
      {"a missing file", thumbnail, folder() / "missing.jpg", "absent"},
      {"the raw file's JPEG", jpgFromRaw, raw, "45x60"},
      {"the raw file's JPEG is no thumbnail", thumbnail, raw, "absent"},
  };
  for (const auto& c : cases) {
    std::optional<Image> image;
    EXPECT_NO_THROW(image = c.reader.read(c.file)) << c.name;
    EXPECT_EQ(sizeOf(image), c.size) << c.name;
  }
  EXPECT_FALSE(thumbnail.readData(data / "Canon.jpg"));  // no bytes at all
}

TEST_F(OneCommandJobs, TheThumbnailWriterRemovesThumbnailsAndKeepsBackups) {
  const auto file = sample("Canon.jpg");
  embed(file, "ThumbnailImage", sampleThumbnailJPEG());  // an EXIF thumbnail, which exiftool can delete
  ASSERT_TRUE(ThumbnailReader().read(file));
  ThumbnailWriter().write(file);
  EXPECT_FALSE(ThumbnailReader().read(file));
  EXPECT_THAT(namesIn(folder()), ElementsAre("Canon.jpg", "Canon.jpg_original"));
  EXPECT_TRUE(ThumbnailReader().read(folder() / "Canon.jpg_original"));
}

// A replacement puts the new picture into every file, where it reads back as that picture; the
// temporary JPEG is gone afterwards. When that JPEG cannot be written, nothing runs.
TEST_F(OneCommandJobs, TheReplacementPutsTheNewThumbnailIntoEveryFile) {
  const auto first = sample("ExifTool.jpg");
  const auto second = sample("Canon.jpg");
  ThumbnailWriter writer;
  writer.thumbnail = Image::decodeFile(testing::dataDirectory() / "PNG.png");
  ASSERT_TRUE(writer.thumbnail);
  writer.write({first, second});
  for (const auto& file : {first, second})
    EXPECT_EQ(sizeOf(ThumbnailReader().read(file)), sizeOf(writer.thumbnail)) << file;
  EXPECT_THAT(namesIn(temporary()), IsEmpty());

  testing::EnvironmentScope missing("TMPDIR", (folder() / "no such folder").string());
  const auto before = namesIn(folder());
  RecordingRunner runner;
  writer.write(first);
  EXPECT_THAT(runner.commands(), IsEmpty());
  EXPECT_EQ(namesIn(folder()), before);
}

}  // namespace
}  // namespace orvelin
