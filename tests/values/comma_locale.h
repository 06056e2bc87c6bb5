#pragma once

// A process locale whose decimal separator is a comma, for the tests that check that the
// library reads and writes numbers the same whatever the host set with setlocale().

#include <unistd.h>

#include <clocale>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "common/test_support.h"
#include "orvelin/support/process_runner.h"

namespace orvelin::testing {

// Switches LC_NUMERIC to German for its scope, then back to "C" (and LOCPATH back to what it
// was). An installed German or French locale serves. Otherwise de_DE is compiled with
// localedef into "test-locales" beside the test program, where it stays for later runs, and
// LOCPATH points there. active() is false only when neither works (no localedef, or no locale
// sources on the machine). Not thread-safe: it changes the process locale and environment.
class CommaLocale {
 public:
  CommaLocale() {
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"})
      if (switchTo(name)) return;
    const auto folder = compiledLocalesFolder();
    if (!folder) return;
    localePath_.set("LOCPATH", folder->string());
    switchTo("de_DE.UTF-8");
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;
  ~CommaLocale() { std::setlocale(LC_NUMERIC, "C"); }

  bool active() const { return active_; }

 private:
  // Whether `name` exists and really has a decimal comma.
  bool switchTo(const char* name) {
    if (!std::setlocale(LC_NUMERIC, name)) return false;
    active_ = std::string(std::localeconv()->decimal_point) == ",";
    if (!active_) std::setlocale(LC_NUMERIC, "C");
    return active_;
  }

  // The folder that holds de_DE.UTF-8, compiled now unless an earlier run left it there.
  static std::optional<std::filesystem::path> compiledLocalesFolder() {
    namespace fs = std::filesystem;
    std::error_code error;
    const auto folder = fs::read_symlink("/proc/self/exe", error).parent_path() / "test-locales";
    if (error) return std::nullopt;
    const auto locale = folder / "de_DE.UTF-8";
    if (fs::exists(locale / "LC_NUMERIC", error)) return folder;
    const char* localedef = nullptr;
    for (const char* candidate : {"/usr/bin/localedef", "/usr/sbin/localedef", "/bin/localedef"})
      if (::access(candidate, X_OK) == 0) localedef = candidate;
    if (!localedef) return std::nullopt;
    // Compiled aside and moved into place whole, so that test programs running at the same
    // time never see half a locale; the one that comes second keeps the first one's.
    const auto staging = folder / (".staging-" + std::to_string(::getpid()));
    fs::create_directories(staging, error);
    if (error) return std::nullopt;
    const auto result = ProcessRunner::Default()->run(
        {localedef, {"-i", "de_DE", "-f", "UTF-8", (staging / "de_DE.UTF-8").string()}, {"PATH=/usr/bin:/bin"}});
    if (result.launched && fs::exists(staging / "de_DE.UTF-8" / "LC_NUMERIC", error))
      fs::rename(staging / "de_DE.UTF-8", locale, error);
    fs::remove_all(staging, error);
    if (!fs::exists(locale / "LC_NUMERIC", error)) return std::nullopt;
    return folder;
  }

  bool active_ = false;
  EnvironmentScope localePath_;
};

}  // namespace orvelin::testing
