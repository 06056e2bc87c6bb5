#include "orvelin/exiftool/write_report.h"

#include <algorithm>
#include <charconv>

namespace orvelin {

namespace {

// Calls `line` for each line of `text`, without its line feed (and carriage return).
template <typename Body>
void forEachLine(std::string_view text, Body&& line) {
  while (!text.empty()) {
    const auto end = text.find('\n');
    auto current = text.substr(0, end);
    if (!current.empty() && current.back() == '\r') current.remove_suffix(1);
    line(current);
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
}

// "    3 image files updated" gives 3 and "image files updated"; false for a line of another form.
bool readCount(std::string_view line, std::size_t& count, std::string_view& what) {
  const auto start = line.find_first_not_of(' ');
  if (start == 0 || start == std::string_view::npos) return false;  // counts are indented
  line.remove_prefix(start);
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), count);
  if (error != std::errc() || end == line.data() + line.size() || *end != ' ') return false;
  what = line.substr(static_cast<std::size_t>(end - line.data()) + 1);
  return true;
}

}  // namespace

ExifToolWriteReport ExifToolWriteReport::parse(std::string_view standardOutput, std::string_view standardError) {
  ExifToolWriteReport report;
  forEachLine(standardError, [&](std::string_view line) {
    if (line.empty()) return;
    std::size_t count = 0;
    std::string_view what;
    if (readCount(line, count, what)) {
      if (what == "image files updated" || what == "image files created")
        report.written += count;
      else if (what == "image files unchanged" || what == "image files copied")
        report.unchanged += count;
      else if (what == "files weren't updated due to errors")
        report.failed += count;
      else
        return;  // folders scanned or created
      if (count > 0) {
        if (!report.summary_.empty()) report.summary_ += ", ";
        report.summary_.append(line.substr(line.find_first_not_of(' ')));
      }
    } else if (line.starts_with("Error: ")) {
      report.errors.emplace_back(line);
    } else if (line.starts_with("Warning: ")) {
      report.warnings.emplace_back(line);
    } else if (line.front() != ' ') {
      report.refusals.emplace_back(line);
    }
  });
  constexpr std::string_view rewriting = "Rewriting ";
  forEachLine(standardOutput, [&](std::string_view line) {
    if (line.starts_with(rewriting) && line.ends_with("..."))
      report.rewrittenFiles.emplace_back(line.substr(rewriting.size(), line.size() - rewriting.size() - 3));
  });
  // A file named by an error line ("Error: WHY - PATH") was not written.
  std::erase_if(report.rewrittenFiles, [&](const std::filesystem::path& file) {
    const auto tail = " - " + file.string();
    return std::any_of(report.errors.begin(), report.errors.end(),
                       [&](const std::string& error) { return error.ends_with(tail); });
  });
  return report;
}

}  // namespace orvelin
