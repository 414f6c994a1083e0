#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

namespace streaming {

/// An XML document within limits of size, depth and number of nodes. Document types are skipped, so
/// there are no entities but the five of XML.
class XMLTree {
 public:
  /// None, with the reason, for what is not well-formed or beyond the limits.
  static std::optional<std::string> load(std::string_view text, pugi::xml_document& document);
  static bool isWithinLimits(pugi::xml_document& document);
};

// Names are compared without their prefixes.

bool isNamed(pugi::xml_node node, std::string_view name);
pugi::xml_node childOf(pugi::xml_node node, std::string_view name);
std::vector<pugi::xml_node> childrenOf(pugi::xml_node node, std::string_view name);
/// Empty where there is none.
std::string_view attributeOf(pugi::xml_node node, std::string_view name);
bool hasAttribute(pugi::xml_node node, std::string_view name);
/// The text within, without white space around it.
std::string textOf(pugi::xml_node node);

/// A finite number in decimal notation, not negative.
std::optional<double> xmlNumber(pugi::xml_node node, std::string_view name);
std::optional<std::uint64_t> xmlInteger(pugi::xml_node node, std::string_view name);
/// Seconds of an ISO 8601 duration, not negative.
std::optional<double> xmlDuration(pugi::xml_node node, std::string_view name);

}  // namespace streaming
