#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvelin/values/coordinate.h"

namespace orvelin {

// Reads positions typed or pasted by users, in four notations:
//
//   DDddddd      decimal degrees, a sign as the only hemisphere: "48.8566, 2.3522"
//   DDMMmmm      degrees and decimal minutes, a letter in front: "N 48 51.396 E 2 21.132"
//   PreDDMMSSs   degrees, minutes, seconds, letter in front: "N 48° 51' 23.8\" E 2° 21' 7.9\""
//   PostDDMMSSs  the same with the letter behind: "48 51 23.8 N, 2 21 7.9 E"
//
// A decimal comma is a decimal point: every "," of the input becomes "." before matching,
// which is why "." may also separate the two numbers of a pair. The two numbers are found by
// plain regular-expression backtracking ("12.34" as a pair is latitude 12.3, longitude 4).
// Degree, minute and second signs are optional. In the three forms with minutes the numbers
// must not be negative; the letter "S"/"s" (latitude) or "W"/"w" (longitude) makes the value
// negative. Nothing checks the range: a latitude of 120 passes. A text that fits no form
// gives absent.
//
// The patterns use ICU's dialect; each form compiles its pattern and matches it once, on every
// call: parsing is for user input, not for bulk data. The patterns backtrack heavily on long
// runs of digits that their many optional groups could share, so each match may spend only a
// fixed amount of work, and a text that needs more is refused: no input takes more than a
// few milliseconds per form.
//
// A field-less value type; safe for concurrent use.
class CoordinateParser {
 public:
  static constexpr std::string_view separatorPattern = R"re([,;|\s\.]*)re";
  static constexpr std::string_view latidudeDDdddddPattern = R"re(\s*([+-]?\s*\d+[\.,]*\d*)\s*°?\s*)re";
  static constexpr std::string_view longitudeDDdddddPattern = R"re(\s*([+-]?\s*\d+[\.,]*\d*)\s*°?\s*$)re";
  static constexpr std::string_view latitudeDDMMmmmPattern =
      R"re(\s*([NSns]?)\s*([+-]?\s*\d+)\s*°?\s*(\d+[\.,]?\d*)\s*'?\s*)re";
  static constexpr std::string_view longitudeDDMMmmmPattern =
      R"re(\s*([EWew]?)\s*([+-]?\s*\d+)\s*°?\s*(\d+[\.,]?\d*)\s*'?\s*)re";
  static constexpr std::string_view latitudePreDDMMSSsPattern =
      R"re(\s*([SNsn]?)\s*([+-]?\s*\d+)\s*°?\s*(\d+)\s*'?\s*(\d+[\.,]?\d*)\s*"?\s*)re";
  static constexpr std::string_view longitudePreDDMMSSsPattern =
      R"re(\s*([EWew]?)\s*([+-]?\s*\d+)\s*°?\s*(\d+)\s*'?\s*(\d+[\.,]?\d*)\s*"?\s*)re";
  static constexpr std::string_view latitudePostDDMMSSsPattern =
      R"re(\s*([+-]?\s*\d+)\s*°?\s*(\d+)\s*'?\s*(\d+[\.,]?\d*)\s*"?\s*([SNsn]?)\s*)re";
  static constexpr std::string_view longitudePostDDMMSSsPattern =
      R"re(\s*([+-]?\s*\d+)\s*°?\s*(\d+)\s*'?\s*(\d+[\.,]?\d*)\s*"?\s*([EWew]?)\s*)re";

  // The four pair forms in order (DDddddd, DDMMmmm, PreDDMMSSs, PostDDMMSSs); the first that
  // reads the text wins.
  std::optional<Coordinate> coordinate(std::string_view text) const;
  // The four single-value forms in the same order, as a Latitude or Longitude.
  std::optional<Latitude> latitude(std::string_view text) const;
  std::optional<Longitude> longitude(std::string_view text) const;
  // The same, as signed decimal degrees.
  std::optional<double> latitudeValue(std::string_view text) const;
  std::optional<double> longitudeValue(std::string_view text) const;

  // One form. The pair operations match "^", the latitude pattern, separatorPattern, the
  // longitude pattern and "$", and hand the first and second half of the groups to the
  // matches operations; the single-value ones match "^", the pattern and "$".
  std::optional<Coordinate> coordinateFromDDdddddString(std::string_view text) const;
  std::optional<double> latitudeFromDDdddddString(std::string_view text) const;
  std::optional<double> longitudeFromDDdddddString(std::string_view text) const;
  std::optional<Coordinate> coordinateFromDDMMmmmString(std::string_view text) const;
  std::optional<double> latitudeFromDDMMmmmString(std::string_view text) const;
  std::optional<double> longitudeFromDDMMmmmString(std::string_view text) const;
  std::optional<Coordinate> coordinateFromPreDDMMSSsString(std::string_view text) const;
  std::optional<double> latitudeFromPreDDMMSSsString(std::string_view text) const;
  std::optional<double> longitudeFromPreDDMMSSsString(std::string_view text) const;
  std::optional<Coordinate> coordinateFromPostDDMMSSsString(std::string_view text) const;
  std::optional<double> latitudeFromPostDDMMSSsString(std::string_view text) const;
  std::optional<double> longitudeFromPostDDMMSSsString(std::string_view text) const;

  // The value of one form's capture groups, absent unless there are exactly as many groups as
  // the form has (1, 3, 4 and 4):
  //   DDddddd      [number]: blanks deleted, "," made ".", read as a double (sign allowed)
  //   DDMMmmm      [letter, degrees, minutes]: minutes * 60 / 3600 + degrees
  //   PreDDMMSSs   [letter, degrees, minutes, seconds]: (seconds / 60 + minutes) * 60 / 3600 + degrees
  //   PostDDMMSSs  [degrees, minutes, seconds, letter]: as PreDDMMSSs
  // In the last three each number is read as it stands and must be zero or more. Numbers are
  // read as C-locale doubles: one of more than 308 digits is an infinity.
  std::optional<double> latitudeFromDDdddddMatches(const std::vector<std::string>& matches) const;
  std::optional<double> longitudeFromDDdddddMatches(const std::vector<std::string>& matches) const;
  std::optional<double> latitudeFromDDMMmmmMatches(const std::vector<std::string>& matches) const;
  std::optional<double> longitudeFromDDMMmmmMatches(const std::vector<std::string>& matches) const;
  std::optional<double> latitudeFromPreDDMMSSsMatches(const std::vector<std::string>& matches) const;
  std::optional<double> longitudeFromPreDDMMSSsMatches(const std::vector<std::string>& matches) const;
  std::optional<double> latitudeFromPostDDMMSSsMatches(const std::vector<std::string>& matches) const;
  std::optional<double> longitudeFromPostDDMMSSsMatches(const std::vector<std::string>& matches) const;
};

}  // namespace orvelin
