#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace orvelin {

// Plain functions of their arguments: safe from any thread, no state kept between calls.

// Trims the `whitespaces` set off both ends of a UTF-8 text: the tab and the space separators
// (the blank, the no-break space, U+2000 to U+200A, U+3000...); line feeds stay.
std::string_view trimWhitespaces(std::string_view text);

// Splits `text` at the first occurrence of `separator`: the part ahead and the part behind,
// each trimmed as by trimWhitespaces(). Absent when the separator does not occur (an empty
// separator occurs nowhere); either part may be empty.
std::optional<std::pair<std::string, std::string>> separate(std::string_view text,
                                                            std::string_view separator);

// Replaces the first occurrence of `prefix` anywhere in `text` (the search is not tied to the
// start) by `replacement`. Returns whether an occurrence was found (an empty `prefix` is found
// nowhere).
bool replacePrefix(std::string& text, std::string_view prefix, std::string_view replacement);

// Compiles `pattern` as an ICU regular expression and returns, for each match in `text`, the
// texts of its capture groups (a group that did not take part gives an empty text). An
// invalid pattern prints "invalid regex: " and the error to standard output and gives no
// match.
std::vector<std::vector<std::string>> captureMatches(std::string_view text, std::string_view pattern);

namespace detail {
template <typename Map>
struct IsOrderedMap : std::false_type {};
template <typename Key, typename Value, typename Compare, typename Allocator>
struct IsOrderedMap<std::map<Key, Value, Compare, Allocator>> : std::true_type {};
}  // namespace detail

// A new map with every key transformed and the values unchanged: a std::map for a std::map,
// else a std::unordered_map. When two keys transform to the same key, the last one in the
// source's order wins. An exception of `transform` goes to the caller.
template <typename Map, typename Transform>
auto mapKeys(const Map& source, Transform&& transform) {
  using NewKey = std::decay_t<std::invoke_result_t<Transform&, const typename Map::key_type&>>;
  using Value = typename Map::mapped_type;
  std::conditional_t<detail::IsOrderedMap<Map>::value, std::map<NewKey, Value>, std::unordered_map<NewKey, Value>>
      result;
  for (const auto& [key, value] : source) result.insert_or_assign(transform(key), value);
  return result;
}

// Upper- and lower-cases ASCII letters only; other bytes stay.
std::string asciiLowercased(std::string_view text);
std::string asciiUppercased(std::string_view text);

}  // namespace orvelin
