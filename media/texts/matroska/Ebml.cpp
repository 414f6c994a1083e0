#include "media/texts/matroska/Ebml.h"

#include <bit>
#include <cstddef>

namespace media {

std::uint64_t ebmlNumber(EbmlBytes bytes) {
  std::uint64_t number = 0;
  for (const std::uint8_t each : bytes) number = number << 8 | each;
  return number;
}

std::optional<std::uint64_t> takeEbmlNumber(EbmlBytes& bytes, bool keepsMark) {
  if (bytes.empty() || bytes[0] == 0) return std::nullopt;
  const auto size = static_cast<std::size_t>(std::countl_zero(bytes[0])) + 1;
  if (size > bytes.size()) return std::nullopt;
  std::uint64_t number = ebmlNumber(bytes.first(size));
  if (!keepsMark) number &= (std::uint64_t{1} << (7 * size)) - 1;
  bytes = bytes.subspan(size);
  return number;
}

std::optional<EbmlElement> takeEbmlElement(EbmlBytes& bytes) {
  EbmlBytes rest = bytes;
  const auto type = takeEbmlNumber(rest, true);
  const auto size = type ? takeEbmlNumber(rest, false) : std::nullopt;
  if (!size) return std::nullopt;
  bytes = rest;
  return EbmlElement{*type, *size};
}

}  // namespace media
