#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace orvelin {

// Trims blanks and tabs (not line feeds) off both ends.
std::string_view trimWhitespaces(std::string_view text);

// Splits `text` at the first occurrence of `separator`: the part ahead and the part behind,
// each trimmed of blanks and tabs at both ends (line feeds stay). Absent when the separator
// does not occur; either part may be empty.
std::optional<std::pair<std::string, std::string>> separate(std::string_view text,
                                                            std::string_view separator);

// Replaces the first occurrence of `prefix` anywhere in `text` (the search is not tied to the
// start) by `replacement`. Returns whether an occurrence was found.
bool replacePrefix(std::string& text, std::string_view prefix, std::string_view replacement);

// Compiles `pattern` as an ICU regular expression and returns, for each match in `text`, the
// texts of its capture groups (a group that did not take part gives an empty text). An
// invalid pattern prints "invalid regex: " and the error to standard output and gives no
// match.
std::vector<std::vector<std::string>> captureMatches(std::string_view text, std::string_view pattern);

// A new map with every key transformed and the values unchanged. When two keys transform to
// the same key, the last one in the source's order wins.
template <typename Map, typename Transform>
auto mapKeys(const Map& source, Transform&& transform) {
  using NewKey = std::decay_t<decltype(transform(source.begin()->first))>;
  using Value = typename Map::mapped_type;
  std::conditional_t<std::is_same_v<Map, std::map<typename Map::key_type, Value>>,
                     std::map<NewKey, Value>, std::unordered_map<NewKey, Value>>
      result;
  for (const auto& [key, value] : source) result.insert_or_assign(transform(key), value);
  return result;
}

// Upper- and lower-cases ASCII letters only; other bytes stay.
std::string asciiLowercased(std::string_view text);
std::string asciiUppercased(std::string_view text);

}  // namespace orvelin
