#include "orvelin/interchange/location_reader.h"

#include <cstdlib>
#include <regex>
#include <string_view>

#include "orvelin/exiftool/exiftool_cli.h"

namespace orvelin {

namespace {

// Two numbers, as exiftool prints them with "-c %+.6f -T" ("+43.641873\t-116.062271"); a file
// without GPS gives "-\t-".
const std::regex& linePattern() {
  static const std::regex pattern(R"(\s*([-+]?[0-9]*\.?[0-9]*)\s*([-+]?[0-9]*\.?[0-9]*)\s*)");
  return pattern;
}

std::optional<double> parsedDouble(const std::string& text) {
  if (text.empty()) return std::nullopt;
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size()) return std::nullopt;
  return value;
}

std::optional<Location> parsedLocation(const std::string& line) {
  std::vector<double> numbers;
  for (std::sregex_iterator match(line.begin(), line.end(), linePattern()), end; match != end; ++match)
    for (std::size_t group = 1; group < match->size(); ++group)
      if (const auto number = parsedDouble(match->str(group))) numbers.push_back(*number);
  if (numbers.size() != 2) return std::nullopt;
  Location location;
  location.latitude = numbers[0];
  location.longitude = numbers[1];
  return location;
}

}  // namespace

const char* LocationReaderError::text(Code code) {
  switch (code) {
    case Code::emptyOutput: return "Empty output";
  }
  return "";
}

std::optional<Location> LocationReader::read(const std::filesystem::path& url) {
  auto locations = read(std::vector<std::filesystem::path>{url});
  return locations.empty() ? std::nullopt : locations.front();
}

std::vector<std::optional<Location>> LocationReader::read(const std::vector<std::filesystem::path>& urls) {
  ExifToolCLI cli;
  cli.password = password;
  std::vector<std::string> arguments{"-c", "%+.6f", "-T", "-m", "-gpslatitude", "-gpslongitude"};
  for (const auto& url : urls) arguments.push_back(url.string());
  cli.run(arguments);
  const auto text = cli.buildStdOutString();
  if (!text || text->empty()) throw LocationReaderError(LocationReaderError::Code::emptyOutput);

  // One line per file, each ended by a line feed: the empty text after the last one is no file.
  std::vector<std::optional<Location>> locations;
  std::string_view rest(*text);
  while (!rest.empty()) {
    const auto end = rest.find('\n');
    locations.push_back(parsedLocation(std::string(rest.substr(0, end))));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return locations;
}

}  // namespace orvelin
