#include "support/xml.h"

namespace orvelin {

std::vector<pugi::xml_node> elements(const pugi::xml_node& node, std::string_view path) {
  std::vector<pugi::xml_node> level{node};
  while (!path.empty()) {
    const auto slash = path.find('/');
    const auto component = path.substr(0, slash);
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
    std::vector<pugi::xml_node> next;
    for (const auto& parent : level) {
      for (auto child = parent.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) continue;
        if (component == "*" || component == child.name()) next.push_back(child);
      }
    }
    level = std::move(next);
  }
  return level;
}

std::optional<bool> boolean(const pugi::xml_node& element, const char* name) {
  const auto attribute = element.attribute(name);
  if (!attribute) return std::nullopt;
  return std::string_view(attribute.value()) == "true";
}

}  // namespace orvelin
