#include "orvelin/exiftool/exiftool_cli.h"

#include <fcntl.h>

#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/editors.h"
#include "common/recording_runner.h"
#include "common/test_support.h"
#include "common/user_language.h"
#include "orvelin/support/process_runner.h"

namespace orvelin {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Records the requests and answers `result` instead of starting a process.
ProcessResult canned(std::string output = "", std::string error = "") {
  return {true, 0, std::move(output), std::move(error)};
}

TEST(ExifToolCLIArguments, EveryOptionInItsPlace) {
  testing::ExtraArgumentsScope extra({"-api", "LargeFileSupport=1"});
  testing::RecordingRunner runner(canned());
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

using testing::UserLanguageScope;

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
  testing::RecordingRunner runner(canned());
  cli.run({"-ver"});
  const auto text = log.text();
  EXPECT_THAT(text, HasSubstr("COMMAND: exiftool " + ExifToolCLI::exiftoolExecutableURL().string() +
                              " -charset filename=UTF8 -password *** -ver\n"));
  EXPECT_THAT(text, ::testing::Not(HasSubstr("s3cret")));
}

TEST(ExifToolCLIOutput, InvalidUTF8IsReadAsMacRoman) {
  testing::RecordingRunner runner(canned("Caf\x8E \xA5", "ok"));  // "Café •" in Mac OS Roman
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
    testing::RecordingRunner runner(ProcessResult{false, -1, "partial", "Permission denied", c.launchError});
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

TEST(MediaKinds, FromFileExtensions) {
  EXPECT_EQ(MediaKind::fromURL("/a/b.HEIF"), MediaKind::image);
  EXPECT_EQ(MediaKind::fromURL("a.RAM"), MediaKind::audio);
  EXPECT_EQ(MediaKind::fromURL("a.wmv"), MediaKind::audio);
  EXPECT_EQ(MediaKind::fromURL("clip.mov"), MediaKind::movie);
  EXPECT_EQ(MediaKind::fromURL("doc.pdf"), MediaKind::image);
  EXPECT_EQ(MediaKind::fromURL("page.html"), MediaKind::other);
  EXPECT_EQ(MediaKind::fromURL("a"), std::nullopt);
  EXPECT_EQ(MediaKind::fromURL("a.zzz"), std::nullopt);
  EXPECT_EQ(MediaKind::fromURL("dir.jpg/file"), std::nullopt);
  EXPECT_EQ(MediaKind(MediaKind::movie).name(), "movie");
  UserLanguageScope english(Language::english);
  EXPECT_EQ(MediaKind(MediaKind::audio).localizedName(), "Audio");
}

}  // namespace
}  // namespace orvelin
