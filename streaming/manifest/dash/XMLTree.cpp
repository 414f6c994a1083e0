#include "streaming/manifest/dash/XMLTree.h"

#include <algorithm>
#include <iterator>

#include "streaming/foundation/Text.h"
#include "streaming/manifest/TimeText.h"

namespace streaming {
namespace {

constexpr int kMaxDepth = 64;
constexpr std::size_t kMaxNodes = 500'000;

/// Limits the cost of attribute searches, which are linear.
constexpr std::ptrdiff_t kMaxAttributes = 128;

/// Checks the limits without recursion.
struct LimitWalker final : pugi::xml_tree_walker {
  std::size_t nodes = 0;
  bool isBeyond = false;
  bool for_each(pugi::xml_node& node) override {
    const auto attributes = node.attributes();
    isBeyond = ++nodes > kMaxNodes || depth() > kMaxDepth ||
               std::distance(attributes.begin(), attributes.end()) > kMaxAttributes;
    return !isBeyond;
  }
};

constexpr const char* kLimitExceeded =
    "The document has too many elements, or they are nested too deeply.";

std::string_view localName(std::string_view name) {
  const auto colon = name.find(':');
  return colon == name.npos ? name : name.substr(colon + 1);
}

}  // namespace

std::optional<std::string> XMLTree::load(std::string_view text, pugi::xml_document& document) {
  // An element has at most two tags. This check precedes any allocation.
  if (static_cast<std::size_t>(std::count(text.begin(), text.end(), '<')) > 2 * kMaxNodes)
    return kLimitExceeded;
  const auto result = document.load_buffer(text.data(), text.size(), pugi::parse_default);
  if (!result) return std::string("The document is not well-formed: ") + result.description() + '.';
  return isWithinLimits(document) ? std::nullopt : std::optional<std::string>(kLimitExceeded);
}

bool XMLTree::isWithinLimits(pugi::xml_document& document) {
  LimitWalker walker;
  document.traverse(walker);
  return !walker.isBeyond;
}

bool isNamed(pugi::xml_node node, std::string_view name) {
  return node.type() == pugi::node_element && localName(node.name()) == name;
}

pugi::xml_node childOf(pugi::xml_node node, std::string_view name) {
  for (const pugi::xml_node child : node.children())
    if (isNamed(child, name)) return child;
  return {};
}

std::vector<pugi::xml_node> childrenOf(pugi::xml_node node, std::string_view name) {
  std::vector<pugi::xml_node> children;
  for (const pugi::xml_node child : node.children())
    if (isNamed(child, name)) children.push_back(child);
  return children;
}

std::string_view attributeOf(pugi::xml_node node, std::string_view name) {
  for (const pugi::xml_attribute each : node.attributes())
    if (localName(each.name()) == name) return each.value();
  return {};
}

bool hasAttribute(pugi::xml_node node, std::string_view name) {
  for (const pugi::xml_attribute each : node.attributes())
    if (localName(each.name()) == name) return true;
  return false;
}

std::string textOf(pugi::xml_node node) {
  std::string text;
  for (const pugi::xml_node child : node.children())
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata)
      text += child.value();
  return std::string(trimmed(text));
}

std::optional<double> xmlNumber(pugi::xml_node node, std::string_view name) {
  const auto value = numberFrom(trimmed(attributeOf(node, name)));
  return value && *value >= 0 ? value : std::nullopt;
}

std::optional<std::uint64_t> xmlInteger(pugi::xml_node node, std::string_view name) {
  return numberOf(trimmed(attributeOf(node, name)));
}

std::optional<double> xmlDuration(pugi::xml_node node, std::string_view name) {
  const auto value = durationFrom(trimmed(attributeOf(node, name)));
  return value && *value >= 0 ? value : std::nullopt;
}

}  // namespace streaming
