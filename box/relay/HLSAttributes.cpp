#include "box/relay/HLSAttributes.h"

#include <algorithm>

namespace box {
namespace {

/// Calls `take` with each name and the place of its value, until it says that it is enough.
template <typename Take>
void forEachAttribute(std::string_view list, const Take& take) {
  std::size_t at = 0;
  while (at < list.size()) {
    at = list.find_first_not_of(" \t,", at);
    const auto equals = at == list.npos ? at : list.find('=', at);
    if (equals == list.npos) return;
    HLSAttribute value{equals + 1, 0};
    std::size_t end;
    if (value.begin < list.size() && list[value.begin] == '"') {
      ++value.begin;
      const auto quote = std::min(list.find('"', value.begin), list.size());
      value.size = quote - value.begin;
      end = list.find(',', quote);
    } else {
      end = list.find(',', value.begin);
      value.size = std::min(end, list.size()) - value.begin;
    }
    if (take(list.substr(at, equals - at), value)) return;
    at = end;
  }
}

}  // namespace

std::optional<HLSAttribute> HLSAttribute::find(std::string_view list, std::string_view name) {
  std::optional<HLSAttribute> found;
  forEachAttribute(list, [&](std::string_view each, HLSAttribute value) {
    if (each == name) found = value;
    return found.has_value();
  });
  return found;
}

std::vector<std::pair<std::string_view, std::string_view>> attributesOf(std::string_view list) {
  std::vector<std::pair<std::string_view, std::string_view>> result;
  forEachAttribute(list, [&](std::string_view name, HLSAttribute value) {
    result.emplace_back(name, list.substr(value.begin, value.size));
    return false;
  });
  return result;
}

std::optional<std::string> attributeOf(std::string_view list, std::string_view name) {
  const auto place = HLSAttribute::find(list, name);
  if (!place) return {};
  return std::string(list.substr(place->begin, place->size));
}

}  // namespace box
