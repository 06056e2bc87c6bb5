#include "orvelin/interchange/photos_app.h"

#include <gtest/gtest.h>

#include "common/test_support.h"
#include "orvelin/support/script_runner.h"

namespace orvelin {
namespace {

// The lines every remote script starts and ends with, around the delay and the image's lines.
const std::string kRemoteHead =
    "tell application \"Photos\"                          \n"
    "  activate                                           \n"
    "end tell                                             \n"
    "                                                     \n";
const std::string kRemoteSelection =
    "                                                     \n"
    "tell application \"Photos\"                          \n"
    "  activate                                           \n"
    "  set images to (get selection)                      \n"
    "                                                     \n"
    "  if images is {} then                               \n"
    "    error \"Please select an image in Photos.app\"   \n"
    "  end if                                             \n"
    "                                                     \n"
    "  repeat with image in images                        \n";
const std::string kRemoteTail =
    "  end repeat                                         \n"
    "end tell                                             \n";

std::string remoteScript(const std::string& delay, const std::string& body) {
  return kRemoteHead + "delay " + delay + "                                  \n" + kRemoteSelection + body + kRemoteTail;
}

TEST(PhotosAppRemote, ScriptsHoldThePresentFields) {
  PhotosAppRemote all(2);
  all.useOriginalName = true;
  all.customFilename = "it's \"new\".jpg";
  all.keywords = std::vector<std::string>{"don't", "say \"hi\"", "plain"};
  all.description = "a 'b' \"c\"";
  all.date = DateTime(2024, 3, 9, 23, 30, 0).date();
  all.latitude = 48.8566;
  all.longitude = -0.1;
  PhotosAppRemote originalNameOff(5);
  originalNameOff.useOriginalName = false;
  PhotosAppRemote onlyLatitude(1);
  onlyLatitude.latitude = 2.5;
  PhotosAppRemote nothing(123456);
  const struct {
    const char* name;
    const PhotosAppRemote& remote;
    bool empty;
    std::string script;
  } cases[] = {
      {"all fields", all, false,
       remoteScript("2",
                    "    set curFilename to the filename of image as text \n"
                    "    set the name of image to curFilename             \n"
                    "    set curFilename to \"its new.jpg\"        \n"
                    "    set the name of image to curFilename             \n"
                    "    set curKeywords to {\"dont\", \"say hi\", \"plain\"}           \n"
                    "    set the keywords of image to curKeywords         \n"
                    "    set curDescription to \"a b c\"  \n"
                    "    set the description of image to curDescription   \n"
                    "    set curDate to the current date                  \n"
                    "    set the year of curDate to 2024    \n"
                    "    set the month of curDate to 3  \n"
                    "    set the day of curDate to 9      \n"
                    "    set the time of curDate to 0                     \n"
                    "    set the date of image to curDate                 \n"
                    "    set curLocation to {48.8566, -0.1}   \n"
                    "    set the location of image to curLocation         \n")},
      {"original name off", originalNameOff, false, remoteScript("5", "")},
      {"latitude alone", onlyLatitude, false, remoteScript("1", "")},
      {"nothing, a long delay", nothing, true, remoteScript("123456", "")},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.remote.isEmpty(), c.empty) << c.name;
    EXPECT_EQ(c.remote.generateScript(), c.script) << c.name;
  }
}

TEST(PhotosAppExporter, ScriptImportsTheFilesInOrder) {
  const PhotosAppExporter exporter(3, {"/photos/a b.jpg", "/x/y.png"});
  EXPECT_EQ(exporter.generateScript(),
            "tell application \"Photos\"             \n"
            "  activate                              \n"
            "end tell                                \n"
            "                                        \n"
            "delay 3                     \n"
            "                                        \n"
            "tell application \"Photos\"             \n"
            "  set filenames to { POSIX file \"/photos/a b.jpg\", POSIX file \"/x/y.png\" }   \n"
            "  import filenames                      \n"
            "end tell                                \n");
}

TEST(PhotosApp, EscapingDropsQuotes) {
  EXPECT_EQ(escapeString("l'été \"x\" \\ ok"), "lété x \\ ok");
  EXPECT_EQ(escapeStrings({}), "");
  EXPECT_EQ(escapeStrings({"a'", "", "\"b\""}), "\"a\", \"\", \"b\"");
}

// A runner that answers with `status` and `error`, and keeps what it was asked.
struct FakeScriptRunner : ScriptRunner {
  int status = 0;
  std::optional<std::map<std::string, std::string>> error;
  std::vector<std::string> asked, scripts;
  int determinePermission(const std::string& bundleIdentifier) override {
    asked.push_back(bundleIdentifier);
    return status;
  }
  std::optional<std::map<std::string, std::string>> execute(const std::string& script) override {
    scripts.push_back(script);
    return error;
  }
};

TEST(PhotosApp, ScriptsRunOnlyWhenARunnerGrantsTheRight) {
  PhotosAppRemote remote(1);
  remote.description = "d";
  const PhotosAppExporter exporter(1, {"/a.jpg"});
  const std::map<std::string, std::string> failure{{"NSAppleScriptErrorNumber", "-1728"}};
  for (const int status : {0, 1, -600}) {
    const bool installed = status != -600;
    auto runner = std::make_shared<FakeScriptRunner>();
    runner->status = status;
    runner->error = failure;
    if (installed) ORVSetScriptRunner(runner);
    testing::DebugLogCapture log;
    const auto expected = status == 0 ? std::optional(failure) : std::nullopt;
    EXPECT_EQ(PhotosAppAuthorizer().perform(), status == 0) << status;
    EXPECT_EQ(remote.perform(), expected) << status;
    EXPECT_EQ(exporter.perform(), expected) << status;
    ORVSetScriptRunner(nullptr);

    const auto text = log.text();
    EXPECT_EQ(testing::occurrences(text, "Asking authorization for Apple events (Photos.app)\nResult code: " +
                                             std::to_string(status) + "\n"),
              3u)
        << status;
    EXPECT_EQ(runner->asked, std::vector<std::string>(installed ? 3 : 0, "com.apple.Photos")) << status;
    const auto ran = status == 0 ? std::vector{remote.generateScript(), exporter.generateScript()}
                                 : std::vector<std::string>();
    EXPECT_EQ(runner->scripts, ran) << status;
    EXPECT_EQ(testing::occurrences(text, remote.generateScript()), status == 0 ? 1u : 0u) << status;
  }
}

}  // namespace
}  // namespace orvelin
