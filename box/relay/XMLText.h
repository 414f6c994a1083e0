#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace box {

/// The size of the piece of markup, such as a tag or a comment, that `text` begins with; nothing
/// while its end has not come. `text` begins with `<`.
std::optional<std::size_t> markupSize(std::string_view text);

/// A start tag, an empty-element tag or an end tag, as a view of its text.
struct XMLTag {
  std::string_view prefix;  ///< with its colon, or empty
  std::string_view name;    ///< without the prefix
  bool starts = false;
  bool ends = false;

  /// Nothing for other markup.
  static std::optional<XMLTag> of(std::string_view markup);
};

/// `tag` with the values of its attributes as `change` makes them: it gets the name, with its
/// prefix, and the value without entities, and gives the new value or nothing for the old one.
std::string withAttributes(std::string_view tag,
                           const std::function<std::optional<std::string>(
                               std::string_view name, const std::string& value)>& change);

std::string withoutEntities(std::string_view text);
std::string withEntities(std::string_view text);

}  // namespace box
