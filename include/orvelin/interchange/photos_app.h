#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvelin/values/date_values.h"

namespace orvelin {

// Scripts that drive a photo library application ("Photos"): one that sets the name,
// keywords, description, date and position of the images selected there, one that imports
// files into it. They run through the installed ScriptRunner (ORVGetScriptRunner()); Linux has
// none, so there perform() asks for nothing and runs nothing unless a host installed one.
//
// The generators are pure functions of the fields and safe to call from any thread; perform()
// is as thread-safe as the installed runner, and lets what the runner throws through. Nothing
// else here throws, but for lack of memory.

// `text` without its single and double quotes, the only characters that would end a quoted
// text of the script; nothing else is changed.
std::string escapeString(std::string_view text);
// Each text escaped and put in double quotes, joined by ", " (a list's items in the script);
// no text gives "".
std::string escapeStrings(const std::vector<std::string>& texts);

// Sets the fields that are present on every image selected in the application, after it has
// been brought forward and `delay` seconds have passed.
struct PhotosAppRemote {
  explicit PhotosAppRemote(int delay) : delay(delay) {}

  const int delay;
  std::optional<bool> useOriginalName;   // true: each image's name becomes its file name
  std::optional<std::string> customFilename;
  std::optional<std::vector<std::string>> keywords;
  std::optional<std::string> description;
  std::optional<Date> date;              // its day in local time; the time becomes midnight
  std::optional<double> latitude;        // the position is set only with both coordinates
  std::optional<double> longitude;

  // No field present (a useOriginalName of false is present).
  bool isEmpty() const;
  // The script: the application brought forward, the delay, then, for each selected image,
  // the lines of each present field (an error when nothing is selected). Texts go through
  // escapeString(); coordinates in the shortest decimal form that reads back to the same
  // double.
  std::string generateScript() const;
  // Asks for the right to drive the application (PhotosAppAuthorizer), writes the script to
  // the debug log and runs it. Absent when it ran without error, but also when the right was
  // refused or no runner is installed (then nothing runs); else the runner's error record.
  std::optional<std::map<std::string, std::string>> perform() const;
};

// Imports files into the application, after it has been brought forward and `delay` seconds
// have passed.
struct PhotosAppExporter {
  PhotosAppExporter(int delay, std::vector<std::filesystem::path> urls) : delay(delay), urls(std::move(urls)) {}

  const int delay;
  const std::vector<std::filesystem::path> urls;

  // The script; the paths are written as they are, in order (a path with a double quote
  // breaks it).
  std::string generateScript() const;
  // As PhotosAppRemote::perform().
  std::optional<std::map<std::string, std::string>> perform() const;
};

// Asks for the right to send events to the application ("com.apple.Photos") through the
// installed ScriptRunner, writing the question and the status to the debug log. Without a
// runner the status is -600 (the application is not running): refused.
struct PhotosAppAuthorizer {
  // Whether the right is granted (status 0).
  bool perform() const;
};

}  // namespace orvelin
