#include "box/relay/ByteRange.h"

#include <algorithm>
#include <charconv>

#include "box/relay/TrimmedText.h"

namespace box {
std::optional<std::uint64_t> numberOf(std::string_view text) {
  std::uint64_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size())
    return std::nullopt;
  return number;
}

std::optional<ByteRange> ByteRange::ofRequest(std::string_view field,
                                              std::optional<std::uint64_t> total) {
  field = trimmed(field);
  if (!field.starts_with("bytes=")) return std::nullopt;
  field.remove_prefix(6);
  const auto dash = field.find('-');
  if (dash == field.npos) return std::nullopt;
  const auto first = numberOf(trimmed(field.substr(0, dash)));
  const auto last = trimmed(field.substr(dash + 1));
  ByteRange range;
  range.total = total;
  if (!first) {
    const auto count = numberOf(last);
    if (dash != 0 || !count || !total) return std::nullopt;
    range.first = *total - std::min(*count, *total);
    return range;
  }
  range.first = *first;
  if (last.empty()) return range;
  range.last = numberOf(last);
  if (!range.last || *range.last < range.first) return std::nullopt;
  return range;
}

std::optional<ByteRange> ByteRange::ofResponse(std::string_view field) {
  field = trimmed(field);
  if (!field.starts_with("bytes ")) return std::nullopt;
  field = trimmed(field.substr(6));
  const auto dash = field.find('-');
  const auto slash = field.find('/');
  if (dash == field.npos || slash == field.npos || dash > slash) return std::nullopt;
  const auto first = numberOf(field.substr(0, dash));
  ByteRange range;
  range.last = numberOf(field.substr(dash + 1, slash - dash - 1));
  range.total = numberOf(field.substr(slash + 1));
  if (!first || !range.last || *range.last < *first) return std::nullopt;
  range.first = *first;
  return range;
}

std::string ByteRange::requestField() const {
  return "bytes=" + std::to_string(first) + "-" + (last ? std::to_string(*last) : "");
}

std::string ByteRange::responseField() const {
  return "bytes " + std::to_string(first) + "-" + std::to_string(last.value_or(first)) + "/" +
         (total ? std::to_string(*total) : "*");
}

}  // namespace box
