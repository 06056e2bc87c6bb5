#include "orvelin/support/string_extensions.h"

#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <unicode/unistr.h>

#include <cstdio>
#include <memory>

#include "orvelin/support/debug_log.h"

namespace orvelin {

namespace {

// The `whitespaces` set: the space separators (general category Zs) and the tab.
bool isWhitespace(UChar32 c) { return c == 0x09 || (c >= 0 && u_charType(c) == U_SPACE_SEPARATOR); }

}  // namespace

std::string_view trimWhitespaces(std::string_view text) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  int32_t start = 0;
  while (start < length) {
    if (bytes[start] < 0x80) {  // ASCII: only the blank and the tab
      if (bytes[start] != ' ' && bytes[start] != '\t') break;
      ++start;
      continue;
    }
    int32_t next = start;
    UChar32 c;
    U8_NEXT(bytes, next, length, c);
    if (!isWhitespace(c)) break;
    start = next;
  }
  int32_t end = length;
  while (end > start) {
    if (bytes[end - 1] < 0x80) {
      if (bytes[end - 1] != ' ' && bytes[end - 1] != '\t') break;
      --end;
      continue;
    }
    int32_t previous = end;
    UChar32 c;
    U8_PREV(bytes, start, previous, c);  // steps back over the character that ends at `end`
    if (!isWhitespace(c)) break;
    end = previous;
  }
  return text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
}

std::optional<std::pair<std::string, std::string>> separate(std::string_view text,
                                                            std::string_view separator) {
  if (separator.empty()) return std::nullopt;  // an empty text is found nowhere
  const auto at = text.find(separator);
  if (at == std::string_view::npos) return std::nullopt;
  return std::pair{std::string(trimWhitespaces(text.substr(0, at))),
                   std::string(trimWhitespaces(text.substr(at + separator.size())))};
}

bool replacePrefix(std::string& text, std::string_view prefix, std::string_view replacement) {
  if (prefix.empty()) return false;  // an empty text is found nowhere
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
    ORVPrint(std::string("invalid regex: ") + u_errorName(status));
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
