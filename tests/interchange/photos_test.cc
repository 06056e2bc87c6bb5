#include "orvelin/interchange/photos_app.h"

#include <gtest/gtest.h>

#include "common/test_support.h"
#include "orvelin/support/script_runner.h"

namespace orvelin {
namespace {

std::string remoteScript(const std::string& delay, const std::string& body) {
  return "tell application \"Photos\"                          \n"
         "  activate                                           \n"
         "end tell                                             \n"
         "                                                     \n"
         "delay " + delay + "                                  \n"
         "                                                     \n"
         "tell application \"Photos\"                          \n"
         "  activate                                           \n"
         "  set images to (get selection)                      \n"
         "                                                     \n"
         "  if images is {} then                               \n"
         "    error \"Please select an image in Photos.app\"   \n"
         "  end if                                             \n"
         "                                                     \n"
         "  repeat with image in images                        \n" + body +
         "  end repeat                                         \n"
         "end tell                                             \n";
}

TEST(PhotosAppRemote, ScriptsHoldThePresentFields) {
  PhotosAppRemote all(2), originalNameOff(5), onlyLatitude(1), nothing(123456);
  all.useOriginalName = true;
  all.customFilename = "it's \"new\".jpg";
  all.keywords = std::vector<std::string>{"don't", "say \"hi\"", "plain"};
  all.description = "a 'b' \"c\"";
  all.date = DateTime(2024, 3, 9, 23, 30, 0).date();
  all.latitude = 48.8566;
  all.longitude = -0.1;
  originalNameOff.useOriginalName = false;
  onlyLatitude.latitude = 2.5;
  const struct {
    const PhotosAppRemote& remote;
    bool empty;
    std::string script;
  } cases[] = {
      {all, false,
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
      {originalNameOff, false, remoteScript("5", "")},
      {onlyLatitude, false, remoteScript("1", "")},
      {nothing, true, remoteScript("123456", "")},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.remote.isEmpty(), c.empty) << c.remote.delay;
    EXPECT_EQ(c.remote.generateScript(), c.script) << c.remote.delay;
  }
}

TEST(PhotosAppExporter, ScriptImportsTheFilesInOrder) {
  EXPECT_EQ(PhotosAppExporter(3, {"/photos/a b.jpg", "/x/y.png"}).generateScript(),
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
  EXPECT_EQ(escapeString("l'été \"x\" \\ ok"), "lété x \\ ok");
  EXPECT_EQ(escapeStrings({}), "");
  EXPECT_EQ(escapeStrings({"a'", "", "\"b\""}), "\"a\", \"\", \"b\"");
}

// Answers with `status` and an error record, and keeps the scripts it ran.
struct FakeScriptRunner : ScriptRunner {
  int status = 0, asked = 0;
  std::vector<std::string> scripts;
  int determinePermission(const std::string& bundle) override { return asked += bundle == "com.apple.Photos", status; }
  std::optional<std::map<std::string, std::string>> execute(const std::string& script) override {
    scripts.push_back(script);
    return std::map<std::string, std::string>{{"NSAppleScriptErrorNumber", "-1728"}};
  }
};

TEST(PhotosApp, ScriptsRunOnlyWhenARunnerGrantsTheRight) {
  PhotosAppRemote remote(1);
  remote.description = "d";
  const PhotosAppExporter exporter(1, {"/a.jpg"});
  for (const int status : {0, 1, -600}) {  // -600: no runner
    auto runner = std::make_shared<FakeScriptRunner>();
    runner->status = status;
    if (status != -600) ORVSetScriptRunner(runner);
    testing::DebugLogCapture log;
    const auto expected = status ? std::nullopt : runner->execute("");
    runner->scripts.clear();
    EXPECT_EQ(remote.perform(), expected) << status;
    EXPECT_EQ(exporter.perform(), expected) << status;
    ORVSetScriptRunner(nullptr);
    const auto asking = "Asking authorization for Apple events (Photos.app)\nResult code: " + std::to_string(status);
    EXPECT_EQ(testing::occurrences(log.text(), asking + "\n"), 2u) << status;
    EXPECT_EQ(runner->asked, status == -600 ? 0 : 2) << status;
    const auto ran = status ? std::vector<std::string>() : std::vector{remote.generateScript(), exporter.generateScript()};
    EXPECT_EQ(runner->scripts, ran) << status;
    EXPECT_EQ(testing::occurrences(log.text(), remote.generateScript()), ran.size() / 2) << status;
  }
}

}  // namespace
}  // namespace orvelin
