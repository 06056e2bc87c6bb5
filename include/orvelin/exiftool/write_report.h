#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orvelin {

// What exiftool tells of a write that ran with "-v": how many files it wrote, left as they were
// or failed on, its error and warning lines, the lines in which it refused a value, and which
// files it rewrote. A plain value, read from the two output streams of one run.
struct ExifToolWriteReport {
  std::size_t written = 0;    // "N image files updated" and "N image files created"
  std::size_t unchanged = 0;  // "N image files unchanged" and "N image files copied"
  std::size_t failed = 0;     // "N files weren't updated due to errors"
  // The lines of standard error, as printed, that begin with "Error: " and "Warning: ".
  std::vector<std::string> errors;
  std::vector<std::string> warnings;
  // The other lines of standard error but the counts: each says why a value was not taken, as
  // "Value above int16u maximum for IFD0:ISO" or "Tag 'EXIF:Foo' is not defined".
  std::vector<std::string> refusals;
  // The files exiftool rewrote where they were ("Rewriting PATH..." with no error line for
  // PATH), in its order, as it printed them.
  std::vector<std::filesystem::path> rewrittenFiles;

  static ExifToolWriteReport parse(std::string_view standardOutput, std::string_view standardError);

  // The counts, as exiftool wrote them ("1 image files updated, 1 files weren't updated due to
  // errors"), for a message; empty when it wrote none.
  std::string summary() const { return summary_; }

 private:
  std::string summary_;
};

}  // namespace orvelin
