#include "streaming/manifest/dash/DASHPatch.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>
#include <vector>

namespace streaming {
namespace {

constexpr std::size_t kMaxOperations = 10'000;
/// Maximum number of elements that the selectors of a patch may visit.
constexpr std::size_t kMaxVisits = 5'000'000;

/// The target of a selector: an element, its text, or an attribute.
struct PatchTarget {
  pugi::xml_node node;
  std::string_view attribute;  // empty: the element or its text
  bool isText = false;
};

/// Removes the part up to the next slash outside quotation marks.
std::string_view takeStep(std::string_view& selector) {
  char quote = 0;
  std::size_t end = 0;
  for (; end < selector.size(); ++end) {
    const char c = selector[end];
    if (quote != 0)
      quote = c == quote ? '\0' : quote;
    else if (c == '"' || c == '\'')
      quote = c;
    else if (c == '/')
      break;
  }
  const std::string_view step = selector.substr(0, end);
  selector.remove_prefix(std::min(end + 1, selector.size()));
  return step;
}

std::string_view plainName(std::string_view name) {
  const auto colon = name.find(':');
  return colon == name.npos ? name : name.substr(colon + 1);
}

/// The predicates of a step, such as `[@id='x']`, `[3]` and `[last()]`.
struct StepConditions {
  std::vector<std::pair<std::string_view, std::string_view>> attributes;
  std::optional<std::size_t> position;  // starts at 1
  bool isLast = false;

  /// nullopt: not supported.
  static std::optional<StepConditions> of(std::string_view text) {
    StepConditions conditions;
    while (!text.empty()) {
      if (!text.starts_with('[')) return std::nullopt;
      text.remove_prefix(1);
      if (text.starts_with('@')) {
        const auto equals = text.find('=');
        if (equals == text.npos || equals + 1 >= text.size()) return std::nullopt;
        const char quote = text[equals + 1];
        const auto end = text.find(quote, equals + 2);
        if ((quote != '"' && quote != '\'') || end == text.npos) return std::nullopt;
        conditions.attributes.emplace_back(plainName(text.substr(1, equals - 1)),
                                           text.substr(equals + 2, end - equals - 2));
        text.remove_prefix(end + 1);
      } else {
        const auto end = std::min(text.find(']'), text.size());
        const std::string_view position = text.substr(0, end);
        text.remove_prefix(end);
        std::size_t number = 0;
        const auto parsed =
            std::from_chars(position.data(), position.data() + position.size(), number);
        if (position == "last()")
          conditions.isLast = true;
        else if (parsed.ec == std::errc{} && parsed.ptr == position.data() + position.size())
          conditions.position = number;
        else
          return std::nullopt;
      }
      if (!text.starts_with(']')) return std::nullopt;
      text.remove_prefix(1);
    }
    return conditions;
  }

  bool areMetBy(pugi::xml_node node) const {
    return std::all_of(attributes.begin(), attributes.end(), [&](const auto& each) {
      return hasAttribute(node, each.first) && attributeOf(node, each.first) == each.second;
    });
  }
};

class SelectorResolver {
 public:
  explicit SelectorResolver(pugi::xml_document& document) : _document(document) {}

  std::optional<PatchTarget> find(std::string_view selector) {
    if (!selector.starts_with('/')) return std::nullopt;
    selector.remove_prefix(1);
    PatchTarget target{_document, {}, false};
    while (!selector.empty()) {
      const std::string_view step = takeStep(selector);
      const bool isEnd = selector.empty();
      if (step.starts_with('@') || step == "text()") {
        if (!isEnd || target.node == _document) return std::nullopt;
        target.isText = step == "text()";
        if (!target.isText) target.attribute = plainName(step.substr(1));
        return target;
      }
      target.node = _child(target.node, step);
      if (!target.node) return std::nullopt;
    }
    return target.node == _document ? std::nullopt : std::optional(target);
  }

 private:
  pugi::xml_node _child(pugi::xml_node parent, std::string_view step) {
    const auto bracket = std::min(step.find('['), step.size());
    const auto conditions = StepConditions::of(step.substr(bracket));
    const std::string_view name = plainName(step.substr(0, bracket));
    pugi::xml_node found;
    if (!conditions || name.empty()) return found;
    std::size_t position = 0;
    for (const pugi::xml_node child : parent.children()) {
      if (++_visits > kMaxVisits) return {};
      if (!isNamed(child, name) || !conditions->areMetBy(child)) continue;
      found = child;
      ++position;
      const bool isAtPosition = !conditions->position || *conditions->position == position;
      if (isAtPosition && !conditions->isLast) return child;
    }
    return conditions->isLast ? found : pugi::xml_node();
  }

  pugi::xml_document& _document;
  std::size_t _visits = 0;
};

pugi::xml_attribute attributeNamed(pugi::xml_node node, std::string_view name) {
  for (const pugi::xml_attribute each : node.attributes())
    if (plainName(each.name()) == name) return each;
  return {};
}

void removeContent(pugi::xml_node node) {
  while (const auto child = node.first_child()) node.remove_child(child);
}

void addContent(const PatchTarget& target, pugi::xml_node operation) {
  const std::string_view type = attributeOf(operation, "type");
  if (type.starts_with('@')) {
    const std::string name(type.substr(1));
    auto attribute = attributeNamed(target.node, plainName(name));
    if (!attribute) attribute = pugi::xml_node(target.node).append_attribute(name.c_str());
    attribute.set_value(textOf(operation).c_str());
    return;
  }
  const std::string_view where = attributeOf(operation, "pos");
  pugi::xml_node node = target.node;
  pugi::xml_node last;
  for (const pugi::xml_node child : operation.children()) {
    if (where == "before")
      node.parent().insert_copy_before(child, node);
    else if (where == "after")
      last = node.parent().insert_copy_after(child, last ? last : node);
    else if (where == "prepend")
      last = last ? node.insert_copy_after(child, last) : node.prepend_copy(child);
    else
      node.append_copy(child);
  }
}

bool replaceContent(const PatchTarget& target, pugi::xml_node operation) {
  pugi::xml_node node = target.node;
  if (!target.attribute.empty()) {
    auto attribute = attributeNamed(node, target.attribute);
    return attribute && attribute.set_value(textOf(operation).c_str());
  }
  if (target.isText) {
    removeContent(node);
    return node.text().set(textOf(operation).c_str());
  }
  for (const pugi::xml_node child : operation.children()) {
    if (child.type() != pugi::node_element) continue;
    return node.parent().insert_copy_before(child, node) && node.parent().remove_child(node);
  }
  return false;
}

bool removeContent(const PatchTarget& target) {
  pugi::xml_node node = target.node;
  if (!target.attribute.empty())
    return node.remove_attribute(attributeNamed(node, target.attribute));
  if (!target.isText) return node.parent().remove_child(node);
  removeContent(node);
  return true;
}

}  // namespace

std::optional<std::string> applyDASHPatch(pugi::xml_node patch, pugi::xml_document& document) {
  pugi::xml_node root = document.document_element();
  if (attributeOf(patch, "mpdId") != attributeOf(root, "id") ||
      attributeOf(patch, "originalPublishTime") != attributeOf(root, "publishTime"))
    return "The patch is for another version of the manifest.";
  SelectorResolver work(document);
  std::size_t count = 0;
  for (const pugi::xml_node operation : patch.children()) {
    if (operation.type() != pugi::node_element) continue;
    if (++count > kMaxOperations) return "The patch has too many operations.";
    const auto target = work.find(attributeOf(operation, "sel"));
    if (!target) return "The patch selects a node that is not in the manifest.";
    const bool isRoot = target->node == document.document_element();
    const bool isElement = target->attribute.empty() && !target->isText;
    const std::string_view where = attributeOf(operation, "pos");
    bool isDone = false;
    if (isNamed(operation, "add")) {
      isDone = isElement && !(isRoot && (where == "before" || where == "after"));
      if (isDone) addContent(*target, operation);
    } else if (isNamed(operation, "replace")) {
      isDone = !(isRoot && isElement) && replaceContent(*target, operation);
    } else if (isNamed(operation, "remove")) {
      isDone = !(isRoot && isElement) && removeContent(*target);
    }
    if (!isDone) return "The patch has an operation that cannot be carried out.";
  }
  root = document.document_element();
  if (hasAttribute(patch, "publishTime") &&
      attributeOf(root, "publishTime") == attributeOf(patch, "originalPublishTime")) {
    auto time = attributeNamed(root, "publishTime");
    if (!time) time = root.append_attribute("publishTime");
    time.set_value(std::string(attributeOf(patch, "publishTime")).c_str());
  }
  if (!XMLTree::isWithinLimits(document)) return "The manifest has become too long.";
  return std::nullopt;
}

}  // namespace streaming
