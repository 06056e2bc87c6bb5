#include "orvelin/support/string_extensions.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <cstdio>
#include <memory>

namespace orvelin {

std::string_view trimWhitespaces(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

std::optional<std::pair<std::string, std::string>> separate(std::string_view text,
                                                            std::string_view separator) {
  const auto at = text.find(separator);
  if (at == std::string_view::npos) return std::nullopt;
  return std::pair{std::string(trimWhitespaces(text.substr(0, at))),
                   std::string(trimWhitespaces(text.substr(at + separator.size())))};
}

bool replacePrefix(std::string& text, std::string_view prefix, std::string_view replacement) {
  const auto at = text.find(prefix);
  if (at == std::string::npos) return false;
  text.replace(at, prefix.size(), replacement);
  return true;
}

std::vector<std::vector<std::string>> captureMatches(std::string_view text, std::string_view pattern) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError{};
  const auto upattern = icu::UnicodeString::fromUTF8(icu::StringPiece(pattern.data(), pattern.size()));
  std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(upattern, 0, parseError, status));
  if (U_FAILURE(status) || !compiled) {
    std::printf("invalid regex: %s\n", u_errorName(status));
    return {};
  }
  const auto utext = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), text.size()));
  std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(utext, status));
  std::vector<std::vector<std::string>> matches;
  if (U_FAILURE(status)) return matches;
  const int groups = matcher->groupCount();
  while (matcher->find(status) && U_SUCCESS(status)) {
    std::vector<std::string> captured;
    captured.reserve(groups);
    for (int group = 1; group <= groups; ++group) {
      std::string utf8;
      if (matcher->start(group, status) >= 0) matcher->group(group, status).toUTF8String(utf8);
      captured.push_back(std::move(utf8));
    }
    matches.push_back(std::move(captured));
  }
  return matches;
}

std::string asciiLowercased(std::string_view text) {
  std::string result(text);
  for (auto& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return result;
}

std::string asciiUppercased(std::string_view text) {
  std::string result(text);
  for (auto& c : result)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return result;
}

}  // namespace orvelin
