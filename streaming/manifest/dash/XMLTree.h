#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

namespace streaming {

/// Parses XML with limits on depth and number of nodes. DOCTYPE is ignored, so there are no custom
/// entities.
class XMLTree {
 public:
  /// Returns the reason of a failure; nullopt on success.
  static std::optional<std::string> load(std::string_view text, pugi::xml_document& document);
  static bool isWithinLimits(pugi::xml_document& document);
};

// Names are compared without namespace prefix.

bool isNamed(pugi::xml_node node, std::string_view name);
pugi::xml_node childOf(pugi::xml_node node, std::string_view name);
std::vector<pugi::xml_node> childrenOf(pugi::xml_node node, std::string_view name);
/// Empty if the attribute is missing.
std::string_view attributeOf(pugi::xml_node node, std::string_view name);
bool hasAttribute(pugi::xml_node node, std::string_view name);
/// The text content without white space at both ends.
std::string textOf(pugi::xml_node node);

/// A finite, non-negative decimal number.
std::optional<double> xmlNumber(pugi::xml_node node, std::string_view name);
std::optional<std::uint64_t> xmlInteger(pugi::xml_node node, std::string_view name);
/// A non-negative ISO 8601 duration in seconds.
std::optional<double> xmlDuration(pugi::xml_node node, std::string_view name);

}  // namespace streaming
