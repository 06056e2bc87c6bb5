#include "orvelin/interchange/photos_app.h"

#include <charconv>

#include "orvelin/support/debug_log.h"
#include "orvelin/support/script_runner.h"

namespace orvelin {

namespace {

// The shortest decimal text that reads back to `value`.
std::string shortestDecimal(double value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

// The application's status when it cannot be reached: no such application is running.
constexpr int kApplicationNotRunning = -600;

std::optional<std::map<std::string, std::string>> runScript(const std::string& script) {
  if (!PhotosAppAuthorizer().perform()) return std::nullopt;
  ORVDebugLog(script);
  const auto runner = ORVGetScriptRunner();
  if (!runner) return std::nullopt;
  return runner->execute(script);
}

}  // namespace

std::string escapeString(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text)
    if (c != '\'' && c != '"') escaped.push_back(c);
  return escaped;
}

std::string escapeStrings(const std::vector<std::string>& texts) {
  std::string joined;
  for (const auto& text : texts) {
    if (!joined.empty()) joined += ", ";
    joined += '"' + escapeString(text) + '"';
  }
  return joined;
}

bool PhotosAppRemote::isEmpty() const {
  return !useOriginalName && !customFilename && !keywords && !description && !date && !latitude && !longitude;
}

// The lines keep their padding as the application's scripts have always had it.
std::string PhotosAppRemote::generateScript() const {
  std::string script;
  script += "tell application \"Photos\"                          \n";
  script += "  activate                                           \n";
  script += "end tell                                             \n";
  script += "                                                     \n";
  script += "delay " + std::to_string(delay) + "                                  \n";
  script += "                                                     \n";
  script += "tell application \"Photos\"                          \n";
  script += "  activate                                           \n";
  script += "  set images to (get selection)                      \n";
  script += "                                                     \n";
  script += "  if images is {} then                               \n";
  script += "    error \"Please select an image in Photos.app\"   \n";
  script += "  end if                                             \n";
  script += "                                                     \n";
  script += "  repeat with image in images                        \n";
  if (useOriginalName.value_or(false)) {
    script += "    set curFilename to the filename of image as text \n";
    script += "    set the name of image to curFilename             \n";
  }
  if (customFilename) {
    script += "    set curFilename to \"" + escapeString(*customFilename) + "\"        \n";
    script += "    set the name of image to curFilename             \n";
  }
  if (keywords) {
    script += "    set curKeywords to {" + escapeStrings(*keywords) + "}           \n";
    script += "    set the keywords of image to curKeywords         \n";
  }
  if (description) {
    script += "    set curDescription to \"" + escapeString(*description) + "\"  \n";
    script += "    set the description of image to curDescription   \n";
  }
  if (date) {
    const PartialDate day(*date);
    script += "    set curDate to the current date                  \n";
    script += "    set the year of curDate to " + std::to_string(day.year) + "    \n";
    script += "    set the month of curDate to " + std::to_string(day.month) + "  \n";
    script += "    set the day of curDate to " + std::to_string(day.day) + "      \n";
    script += "    set the time of curDate to 0                     \n";
    script += "    set the date of image to curDate                 \n";
  }
  if (latitude && longitude) {
    script += "    set curLocation to {" + shortestDecimal(*latitude) + ", " + shortestDecimal(*longitude) + "}   \n";
    script += "    set the location of image to curLocation         \n";
  }
  script += "  end repeat                                         \n";
  script += "end tell                                             \n";
  return script;
}

std::optional<std::map<std::string, std::string>> PhotosAppRemote::perform() const {
  return runScript(generateScript());
}

std::string PhotosAppExporter::generateScript() const {
  std::string files;
  for (const auto& url : urls) {
    if (!files.empty()) files += ", ";
    files += "POSIX file \"" + url.string() + "\"";
  }
  std::string script;
  script += "tell application \"Photos\"             \n";
  script += "  activate                              \n";
  script += "end tell                                \n";
  script += "                                        \n";
  script += "delay " + std::to_string(delay) + "                     \n";
  script += "                                        \n";
  script += "tell application \"Photos\"             \n";
  script += "  set filenames to { " + files + " }   \n";
  script += "  import filenames                      \n";
  script += "end tell                                \n";
  return script;
}

std::optional<std::map<std::string, std::string>> PhotosAppExporter::perform() const {
  return runScript(generateScript());
}

bool PhotosAppAuthorizer::perform() const {
  ORVDebugLog("Asking authorization for Apple events (Photos.app)");
  const auto runner = ORVGetScriptRunner();
  const int status = runner ? runner->determinePermission("com.apple.Photos") : kApplicationNotRunning;
  ORVDebugLog("Result code: " + std::to_string(status));
  return status == 0;
}

}  // namespace orvelin
