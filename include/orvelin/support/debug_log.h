#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace orvelin {

// The debug log: a plain trace of the library's work for support cases, off by default.
// When on, every entry goes to standard output and to the chosen file, one whole write per
// entry, with no levels and no time stamps. Enabling and disabling are meant for one moment
// of a host's life, not while work is in progress; writing entries is safe from any thread.

// Turns the log on into `url`: the file is emptied and starts with ORVBuildHeader(). When the
// file cannot be made the log stays on for standard output alone.
void ORVEnableDebugLog(const std::filesystem::path& url);
void ORVDisableDebugLog();
bool ORVIsDebugLogEnabled();

// Writes one entry (the text and a line feed) to the console and to the file.
void ORVDebugLogWrite(std::string_view text);

// The library's console: the messages that it prints as it goes on (a catalogue file that cannot
// be read, a resource that is missing, a flush without a lock) and the entries of the debug log.
// ORVPrint writes `text` and a line feed there, in one write. Safe from any thread.
void ORVPrint(std::string_view text);
// The file descriptor of the console: standard output (1) unless a host chose another, such as
// standard error (2) for a tool whose standard output is machine-readable. The descriptor must
// stay open as long as the library may print. Set once at start-up.
void ORVSetConsole(int fd);
int ORVGetConsole();

// Writes `text` and a line feed to the file alone, when there is one.
void ORVAppendDebugFile(std::string_view text);

// The header of a log file: the date, then the name and version of the library and of the
// application (the running executable).
std::string ORVBuildHeader();

// Properties of the application shown in the header ("CFBundleName", "CFBundleVersion"...).
// By default the name of the running executable. Set once at start-up, before enabling the log.
void ORVSetApplicationInfo(std::map<std::string, std::string> properties);

}  // namespace orvelin

// One entry of the debug log. The argument is evaluated only when the log is enabled.
#define ORVDebugLog(...)                                                   \
  do {                                                                     \
    if (::orvelin::ORVIsDebugLogEnabled()) ::orvelin::ORVDebugLogWrite(__VA_ARGS__); \
  } while (false)
