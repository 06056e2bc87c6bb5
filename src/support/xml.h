#pragma once

// XML helpers over pugixml, for the library's own use (the catalogue generator).

#include <optional>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

namespace orvelin {

// Walks down from `node` along `path` ("a/b/c"), level by level, keeping at each level the
// element children whose name equals the path component; "*" matches any name. Returns the
// elements reached, in document order.
std::vector<pugi::xml_node> elements(const pugi::xml_node& node, std::string_view path);

// The attribute `name` of `element` as a boolean: absent without the attribute, true when its
// text is "true", false otherwise.
std::optional<bool> boolean(const pugi::xml_node& element, const char* name);

}  // namespace orvelin
