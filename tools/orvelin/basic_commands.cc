// `orvelin version` and `orvelin exiftool`.

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <string_view>

#include "commands.h"
#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/debug_log.h"
#include "orvelin/support/resources.h"
#include "orvelin/support/string_extensions.h"

namespace orvelin::tool {

namespace {

void writeOut(FILE* stream, const std::optional<std::string>& data) {
  if (data && !data->empty()) std::fwrite(data->data(), 1, data->size(), stream);
  std::fflush(stream);
}

std::string trimmed(std::string text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
  return text;
}

}  // namespace

std::optional<Language> parseLanguage(const std::string& text) {
  // Only ASCII letters fold: "français" is not "Français", and no byte of a UTF-8 name is
  // changed on its way.
  const auto folded = asciiLowercased(text);
  for (Language language : Language::all())
    if (asciiLowercased(language.rawValue()) == folded || (language != Language::local && language.name() == text))
      return language;
  return Language::fromExifToolValue(text);
}

void addVersionCommand(CLI::App& app, Outcome& outcome) {
  auto* command = app.add_subcommand("version", "Print the library's version and exiftool's");
  command->callback([&outcome] {
    outcome.run = [] {
      ExifToolCLI cli;
      cli.run({"-ver"});
      const auto exifToolVersion = cli.buildStdOutString();
      // The library loaded, which may be newer than the one this tool was built with.
      const auto& info = ORVBundleInfo();
      const auto version = info.find("CFBundleVersion");
      std::printf("orvelin %s\n", version == info.end() ? "unknown" : version->second.c_str());
      if (!exifToolVersion || trimmed(*exifToolVersion).empty()) {
        std::printf("exiftool: not available\n");
        writeOut(stderr, cli.buildStdErrString());
        return 1;
      }
      std::printf("exiftool %s\n", trimmed(*exifToolVersion).c_str());
      return 0;
    };
  });
}

void addExifToolCommand(CLI::App& app, Outcome& outcome) {
  auto* command = app.add_subcommand("exiftool", "Run exiftool through the library with the given arguments");
  struct Options {
    std::string language;
    std::string debugLog;
    std::vector<std::string> arguments;
  };
  auto options = std::make_shared<Options>();
  command->add_option(
      "--lang", options->language,
      "Language of the output (a name such as German, its own name such as Deutsch, or a code such as de)");
  command->add_option("--debug-log", options->debugLog, "Write the debug log to this file");
  command->add_option("arguments", options->arguments, "Arguments of exiftool, after --")->required();
  command->callback([&outcome, options] {
    outcome.run = [options] {
      std::optional<Language> language;
      if (!options->language.empty()) {
        language = parseLanguage(options->language);
        if (!language) {
          std::fprintf(stderr, "orvelin: unknown language %s\n", options->language.c_str());
          return 2;
        }
      }
      if (!options->debugLog.empty()) ORVEnableDebugLog(options->debugLog);
      ExifToolCLI cli(language);
      cli.run(options->arguments);
      writeOut(stdout, cli.stdOutData());
      writeOut(stderr, cli.stdErrData());
      const bool failed = cli.stdOutData()->empty() && !cli.stdErrData()->empty();
      return failed ? 1 : 0;
    };
  });
}

}  // namespace orvelin::tool
