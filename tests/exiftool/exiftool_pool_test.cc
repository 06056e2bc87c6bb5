// The persistent transport gives what a spawned exiftool gives, survives the loss of a process,
// and keeps no option of one command for the next.

#include <signal.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "common/recording_runner.h"
#include "common/test_support.h"
#include "exiftool/exiftool_pool.h"
#include "orvelin/catalogue/tags_resources.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/storage/metadata_et_reader.h"

namespace orvelin {
namespace {

namespace fs = std::filesystem;

using testing::RecordingRunner;

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
    ExifToolCLI thumbnail;
    thumbnail.run({"-b", "-EXIF:ThumbnailImage", file.string()});
  }
  // A plug-in loaded by one command stays loaded in its process: it must not serve the next.
  ExifToolCLI write;
  write.run({"-use", "MWG", "-o", (scratch / "%f-out.%e").string(), "-EXIF:Artist=A = $b @c\\d",
             "-EXIF:ISO=99999999", "-XMP-dc:Title= leading", "-XMP-dc:Description=two\nlines", canon.string()});
  ExifToolCLI withoutPlugIn;
  withoutPlugIn.run({"-s", "-Creator", withArtist});
  ExifToolCLI listx;
  listx.run({"-listx", "-EXIF:All"});
  ExifToolCLI failing;
  failing.run({"-j", (scratch / "missing.jpg").string()});
  // No option of one command reaches the next one in its process.
  ExifToolCLI german(Language::german);
  german.password = "secret";
  german.run({"-EXIF:Make", "-d", "%Y", "-DateTimeOriginal", canon.string()});
  ExifToolCLI plain;
  plain.run({"-EXIF:Make", "-DateTimeOriginal", canon.string()});
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
       {std::vector<std::string>{"-ver", "-execute"}, {"-EXIF:Artist=$a\nb", "x.jpg"}, {"-ver", "-@"}}) {
    ExifToolCLI cli;
    cli.run(arguments);
  }
  EXPECT_EQ(keeping.requests().size(), 3u);
  ExifToolCLI cli;
  cli.run({"-ver"});
  EXPECT_EQ(keeping.requests().size(), 3u);
}

}  // namespace
}  // namespace orvelin
