#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace media {

/// The elements of EBML, of which Matroska files consist.
struct EbmlElement {
  std::uint64_t type = 0;
  std::uint64_t size = 0;
};

using EbmlBytes = std::span<const std::uint8_t>;

std::uint64_t ebmlNumber(EbmlBytes bytes);

/// Removes a variable-length integer. `keepsMark` keeps the length marker, as in element ids.
std::optional<std::uint64_t> takeEbmlNumber(EbmlBytes& bytes, bool keepsMark);

/// Removes the header of an element. Returns nullopt if it is incomplete or invalid.
std::optional<EbmlElement> takeEbmlElement(EbmlBytes& bytes);

/// Calls `take(type, content)` for each complete element.
template <typename Take>
void forEachEbmlElement(EbmlBytes bytes, const Take& take) {
  while (const auto element = takeEbmlElement(bytes)) {
    if (element->size > bytes.size()) return;
    const auto size = static_cast<std::size_t>(element->size);
    take(element->type, bytes.first(size));
    bytes = bytes.subspan(size);
  }
}

}  // namespace media
