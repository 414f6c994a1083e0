#include "streaming/transfer/http/ByteRange.h"

#include "streaming/foundation/Text.h"

namespace streaming {

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

}  // namespace streaming
