#include "orvelin/exiftool/one_command_jobs.h"

#include "orvelin/exiftool/exiftool_cli.h"
#include "orvelin/support/files.h"

namespace orvelin {

void MetadataETCleaner::clean(const std::filesystem::path& url) const {
  ExifToolCLI cli;
  cli.password = password;
  cli.enableCorrection = enableCorrection;
  cli.overwriteInPlace = overrideInPlace;
  cli.run({"-all=", url.string()});
}

std::optional<std::string> EmbeddedImageReader::readData(const std::filesystem::path& url) const {
  ExifToolCLI cli;
  cli.password = password;
  cli.run({tagArgument_, "-b", url.string()});
  const auto& output = cli.stdOutData();
  if (!output || output->empty()) return std::nullopt;
  return *output;
}

std::optional<Image> EmbeddedImageReader::read(const std::filesystem::path& url) const {
  const auto data = readData(url);
  if (!data) return std::nullopt;
  return Image::decode(*data);
}

void ThumbnailWriter::write(const std::filesystem::path& url) const { write(std::vector<std::filesystem::path>{url}); }

void ThumbnailWriter::write(const std::vector<std::filesystem::path>& urls) const {
  ExifToolCLI cli;
  cli.password = password;
  std::vector<std::string> arguments;
  arguments.reserve(urls.size() + 1);
  if (!thumbnail) {
    arguments.push_back("-ThumbnailImage=");
    for (const auto& url : urls) arguments.push_back(url.string());
    cli.run(arguments);
    return;
  }
  const auto jpeg = temporaryURL("jpg", ORVTemporaryDirectory());
  ScopedFileRemover remover(jpeg);
  if (!thumbnail->writeAsJPEG(jpeg)) return;
  arguments.push_back("-ThumbnailImage<=" + jpeg.string());
  for (const auto& url : urls) arguments.push_back(url.string());
  cli.run(arguments);
}

}  // namespace orvelin
