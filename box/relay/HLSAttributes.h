#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace box {

/// The place of an attribute's value in an attribute list, without its quotes.
struct HLSAttribute {
  std::size_t begin = 0;
  std::size_t size = 0;

  static std::optional<HLSAttribute> find(std::string_view list, std::string_view name);
};

/// Names and values, in their order.
std::vector<std::pair<std::string_view, std::string_view>> attributesOf(std::string_view list);
/// Nothing for what is not there.
std::optional<std::string> attributeOf(std::string_view list, std::string_view name);

}  // namespace box
