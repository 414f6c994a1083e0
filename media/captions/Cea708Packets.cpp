#include "media/captions/Cea708Packets.h"

#include <utility>

namespace media {

Cea708Packets::Cea708Packets(BlockHandler onBlock) : _onBlock(std::move(onBlock)) {}

void Cea708Packets::feed(bool begins, std::uint8_t first, std::uint8_t second) {
  if (begins) {
    const std::size_t pairs = first & 0x3fu;
    _expected = pairs == 0 ? _bytes.size() : 2 * pairs;
    _size = 0;
  }
  if (_expected == 0) return;
  // The packet has an even number of bytes.
  _bytes[_size++] = first;
  _bytes[_size++] = second;
  if (_size < _expected) return;
  _split();
  _expected = 0;
}

void Cea708Packets::_split() const {
  constexpr int kExtended = 7;
  std::span<const std::uint8_t> rest(_bytes.data() + 1, _expected - 1);
  while (!rest.empty()) {
    int service = rest[0] >> 5;
    const std::size_t size = rest[0] & 0x1fu;
    rest = rest.subspan(1);
    if (service == 0) return;
    if (service == kExtended && size > 0) {
      if (rest.empty()) return;
      service = rest[0] & 0x3f;
      rest = rest.subspan(1);
    }
    if (size > rest.size()) return;
    _onBlock(service, rest.first(size));
    rest = rest.subspan(size);
  }
}

}  // namespace media
