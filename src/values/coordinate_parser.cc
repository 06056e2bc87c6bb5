#include "orvelin/values/coordinate_parser.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "values/number_text.h"

namespace orvelin {

namespace {

enum class Axis { latitude, longitude };

std::string commasAsPoints(std::string_view text) {
  std::string result(text);
  std::replace(result.begin(), result.end(), ',', '.');
  return result;
}

// ICU's work units (about ten thousand steps of its matcher each) that one form may spend on
// deciding whether a text matches. Real notations need a few hundred steps; a long run of
// digits that several optional groups can share needs millions and would take seconds.
constexpr int32_t kMatchWorkLimit = 20;

// The capture groups of the match of the anchored `pattern` in `text`, after the commas became
// points: one text per group, empty for a group that took no part. Absent when there is no
// match, or when deciding takes more than kMatchWorkLimit (taken as no match). The pattern is
// compiled and matched once.
std::optional<std::vector<std::string>> firstMatch(std::string_view text, const std::string& pattern) {
  if (text.size() > static_cast<std::size_t>(INT32_MAX)) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError{};
  const std::unique_ptr<icu::RegexPattern> compiled(
      icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern), 0, parseError, status));
  if (U_FAILURE(status)) return std::nullopt;
  const auto unicode = icu::UnicodeString::fromUTF8(commasAsPoints(text));
  const std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(unicode, status));
  if (U_FAILURE(status)) return std::nullopt;
  matcher->setTimeLimit(kMatchWorkLimit, status);
  if (!matcher->find(status) || U_FAILURE(status)) return std::nullopt;
  std::vector<std::string> groups(static_cast<std::size_t>(matcher->groupCount()));
  for (int32_t group = 1; group <= matcher->groupCount() && U_SUCCESS(status); ++group)
    if (matcher->start(group, status) >= 0) matcher->group(group, status).toUTF8String(groups[group - 1]);
  if (U_FAILURE(status)) return std::nullopt;
  return groups;
}

std::string anchored(std::string_view pattern) {
  std::string whole = "^";
  whole += pattern;
  whole += "$";
  return whole;
}

std::string anchoredPair(std::string_view latitudePattern, std::string_view longitudePattern) {
  std::string whole = "^";
  whole += latitudePattern;
  whole += CoordinateParser::separatorPattern;
  whole += longitudePattern;
  whole += "$";
  return whole;
}

// A number of the forms with minutes: read as it stands, zero or more.
std::optional<double> magnitude(const std::string& text) {
  const auto value = detail::parseCDouble(text);
  if (!value || !(*value >= 0.0)) return std::nullopt;
  return value;
}

double signedBy(const std::string& letter, Axis axis, double value) {
  const bool negative = axis == Axis::latitude ? (letter == "S" || letter == "s") : (letter == "W" || letter == "w");
  return negative ? value * -1.0 : value;
}

std::optional<double> fromDDddddd(const std::vector<std::string>& matches) {
  if (matches.size() != 1) return std::nullopt;
  std::string number;
  number.reserve(matches[0].size());
  for (const char c : matches[0]) {
    if (c == ' ') continue;
    number.push_back(c == ',' ? '.' : c);
  }
  return detail::parseCDouble(number);
}

std::optional<double> fromDDMMmmm(const std::vector<std::string>& matches, Axis axis) {
  if (matches.size() != 3) return std::nullopt;
  const auto degrees = magnitude(matches[1]);
  const auto minutes = magnitude(matches[2]);
  if (!degrees || !minutes) return std::nullopt;
  return signedBy(matches[0], axis, *minutes * 60.0 / 3600.0 + *degrees);
}

std::optional<double> fromDDMMSSs(const std::string& letter, const std::string& degreesText,
                                  const std::string& minutesText, const std::string& secondsText, Axis axis) {
  const auto degrees = magnitude(degreesText);
  const auto minutes = magnitude(minutesText);
  const auto seconds = magnitude(secondsText);
  if (!degrees || !minutes || !seconds) return std::nullopt;
  return signedBy(letter, axis, (*seconds / 60.0 + *minutes) * 60.0 / 3600.0 + *degrees);
}

std::optional<double> fromPreDDMMSSs(const std::vector<std::string>& matches, Axis axis) {
  if (matches.size() != 4) return std::nullopt;
  return fromDDMMSSs(matches[0], matches[1], matches[2], matches[3], axis);
}

std::optional<double> fromPostDDMMSSs(const std::vector<std::string>& matches, Axis axis) {
  if (matches.size() != 4) return std::nullopt;
  return fromDDMMSSs(matches[3], matches[0], matches[1], matches[2], axis);
}

using MatchesReader = std::optional<double> (CoordinateParser::*)(const std::vector<std::string>&) const;

std::optional<double> single(const CoordinateParser& parser, std::string_view text, std::string_view pattern,
                             MatchesReader reader) {
  const auto matches = firstMatch(text, anchored(pattern));
  if (!matches) return std::nullopt;
  return (parser.*reader)(*matches);
}

std::optional<Coordinate> pair(const CoordinateParser& parser, std::string_view text, std::string_view latitudePattern,
                               std::string_view longitudePattern, MatchesReader latitudeReader,
                               MatchesReader longitudeReader) {
  const auto matches = firstMatch(text, anchoredPair(latitudePattern, longitudePattern));
  if (!matches) return std::nullopt;
  const auto half = matches->begin() + static_cast<std::ptrdiff_t>(matches->size() / 2);
  const auto latitude = (parser.*latitudeReader)(std::vector<std::string>(matches->begin(), half));
  const auto longitude = (parser.*longitudeReader)(std::vector<std::string>(half, matches->end()));
  if (!latitude || !longitude) return std::nullopt;
  return Coordinate(Latitude(*latitude), Longitude(*longitude));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// All forms

std::optional<Coordinate> CoordinateParser::coordinate(std::string_view text) const {
  if (auto found = coordinateFromDDdddddString(text)) return found;
  if (auto found = coordinateFromDDMMmmmString(text)) return found;
  if (auto found = coordinateFromPreDDMMSSsString(text)) return found;
  return coordinateFromPostDDMMSSsString(text);
}

std::optional<double> CoordinateParser::latitudeValue(std::string_view text) const {
  if (auto found = latitudeFromDDdddddString(text)) return found;
  if (auto found = latitudeFromDDMMmmmString(text)) return found;
  if (auto found = latitudeFromPreDDMMSSsString(text)) return found;
  return latitudeFromPostDDMMSSsString(text);
}

std::optional<double> CoordinateParser::longitudeValue(std::string_view text) const {
  if (auto found = longitudeFromDDdddddString(text)) return found;
  if (auto found = longitudeFromDDMMmmmString(text)) return found;
  if (auto found = longitudeFromPreDDMMSSsString(text)) return found;
  return longitudeFromPostDDMMSSsString(text);
}

std::optional<Latitude> CoordinateParser::latitude(std::string_view text) const {
  const auto value = latitudeValue(text);
  if (!value) return std::nullopt;
  return Latitude(*value);
}

std::optional<Longitude> CoordinateParser::longitude(std::string_view text) const {
  const auto value = longitudeValue(text);
  if (!value) return std::nullopt;
  return Longitude(*value);
}

// ---------------------------------------------------------------------------------------------
// One form

std::optional<Coordinate> CoordinateParser::coordinateFromDDdddddString(std::string_view text) const {
  return pair(*this, text, latidudeDDdddddPattern, longitudeDDdddddPattern, &CoordinateParser::latitudeFromDDdddddMatches,
              &CoordinateParser::longitudeFromDDdddddMatches);
}

std::optional<double> CoordinateParser::latitudeFromDDdddddString(std::string_view text) const {
  return single(*this, text, latidudeDDdddddPattern, &CoordinateParser::latitudeFromDDdddddMatches);
}

std::optional<double> CoordinateParser::longitudeFromDDdddddString(std::string_view text) const {
  return single(*this, text, longitudeDDdddddPattern, &CoordinateParser::longitudeFromDDdddddMatches);
}

std::optional<Coordinate> CoordinateParser::coordinateFromDDMMmmmString(std::string_view text) const {
  return pair(*this, text, latitudeDDMMmmmPattern, longitudeDDMMmmmPattern, &CoordinateParser::latitudeFromDDMMmmmMatches,
              &CoordinateParser::longitudeFromDDMMmmmMatches);
}

std::optional<double> CoordinateParser::latitudeFromDDMMmmmString(std::string_view text) const {
  return single(*this, text, latitudeDDMMmmmPattern, &CoordinateParser::latitudeFromDDMMmmmMatches);
}

std::optional<double> CoordinateParser::longitudeFromDDMMmmmString(std::string_view text) const {
  return single(*this, text, longitudeDDMMmmmPattern, &CoordinateParser::longitudeFromDDMMmmmMatches);
}

std::optional<Coordinate> CoordinateParser::coordinateFromPreDDMMSSsString(std::string_view text) const {
  return pair(*this, text, latitudePreDDMMSSsPattern, longitudePreDDMMSSsPattern,
              &CoordinateParser::latitudeFromPreDDMMSSsMatches, &CoordinateParser::longitudeFromPreDDMMSSsMatches);
}

std::optional<double> CoordinateParser::latitudeFromPreDDMMSSsString(std::string_view text) const {
  return single(*this, text, latitudePreDDMMSSsPattern, &CoordinateParser::latitudeFromPreDDMMSSsMatches);
}

std::optional<double> CoordinateParser::longitudeFromPreDDMMSSsString(std::string_view text) const {
  return single(*this, text, longitudePreDDMMSSsPattern, &CoordinateParser::longitudeFromPreDDMMSSsMatches);
}

std::optional<Coordinate> CoordinateParser::coordinateFromPostDDMMSSsString(std::string_view text) const {
  return pair(*this, text, latitudePostDDMMSSsPattern, longitudePostDDMMSSsPattern,
              &CoordinateParser::latitudeFromPostDDMMSSsMatches, &CoordinateParser::longitudeFromPostDDMMSSsMatches);
}

std::optional<double> CoordinateParser::latitudeFromPostDDMMSSsString(std::string_view text) const {
  return single(*this, text, latitudePostDDMMSSsPattern, &CoordinateParser::latitudeFromPostDDMMSSsMatches);
}

std::optional<double> CoordinateParser::longitudeFromPostDDMMSSsString(std::string_view text) const {
  return single(*this, text, longitudePostDDMMSSsPattern, &CoordinateParser::longitudeFromPostDDMMSSsMatches);
}

// ---------------------------------------------------------------------------------------------
// Groups

std::optional<double> CoordinateParser::latitudeFromDDdddddMatches(const std::vector<std::string>& matches) const {
  return fromDDddddd(matches);
}

std::optional<double> CoordinateParser::longitudeFromDDdddddMatches(const std::vector<std::string>& matches) const {
  return fromDDddddd(matches);
}

std::optional<double> CoordinateParser::latitudeFromDDMMmmmMatches(const std::vector<std::string>& matches) const {
  return fromDDMMmmm(matches, Axis::latitude);
}

std::optional<double> CoordinateParser::longitudeFromDDMMmmmMatches(const std::vector<std::string>& matches) const {
  return fromDDMMmmm(matches, Axis::longitude);
}

std::optional<double> CoordinateParser::latitudeFromPreDDMMSSsMatches(const std::vector<std::string>& matches) const {
  return fromPreDDMMSSs(matches, Axis::latitude);
}

std::optional<double> CoordinateParser::longitudeFromPreDDMMSSsMatches(const std::vector<std::string>& matches) const {
  return fromPreDDMMSSs(matches, Axis::longitude);
}

std::optional<double> CoordinateParser::latitudeFromPostDDMMSSsMatches(const std::vector<std::string>& matches) const {
  return fromPostDDMMSSs(matches, Axis::latitude);
}

std::optional<double> CoordinateParser::longitudeFromPostDDMMSSsMatches(const std::vector<std::string>& matches) const {
  return fromPostDDMMSSs(matches, Axis::longitude);
}

}  // namespace orvelin
