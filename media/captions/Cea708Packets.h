#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace media {

/// Assembles the packets of CEA-708 captions (CTA-708, caption channel packets) from the byte pairs
/// in pictures, and splits them into blocks of caption services.
///
/// A packet that is incomplete when another one begins is dropped.
///
/// Threads: one at a time.
class Cea708Packets {
 public:
  /// `service` is 1 to 63.
  using BlockHandler = std::function<void(int service, std::span<const std::uint8_t> block)>;

  explicit Cea708Packets(BlockHandler onBlock);

  /// `begins` is set for the first pair of a packet.
  void feed(bool begins, std::uint8_t first, std::uint8_t second);
  void restart() { _size = _expected = 0; }

 private:
  void _split() const;

  const BlockHandler _onBlock;
  std::array<std::uint8_t, 128> _bytes{};
  std::size_t _size = 0;
  std::size_t _expected = 0;  // bytes of the packet with its header; 0: none has begun
};

}  // namespace media
