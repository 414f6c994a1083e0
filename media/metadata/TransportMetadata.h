#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <vector>

namespace media {

/// Finds the timed metadata in a transport stream as its bytes come, which the library's demuxer
/// passes over: elementary streams of type 0x15.
///
/// Bounds: one piece of metadata of 64 KiB at most.
/// Threads: one at a time.
class TransportMetadata {
 public:
  /// `seconds` are counted from the first time of picture or sound.
  using Found = std::function<void(double seconds, std::span<const std::uint8_t> data)>;
  explicit TransportMetadata(Found found) : _found(std::move(found)) {}

  void feed(std::span<const std::uint8_t> bytes);
  /// Bytes of another place follow.
  void restart();
  /// What `seconds` are counted from, in units of 1/90000 s.
  std::optional<std::uint64_t> firstTime() const { return _firstTime; }

 private:
  struct Piece {
    bool begun = false;
    std::vector<std::uint8_t> bytes;
  };
  void _takePacket(std::span<const std::uint8_t> packet);
  void _takeTable(std::span<const std::uint8_t> payload, bool isProgram);
  void _takeTime(std::span<const std::uint8_t> payload);
  void _takeData(std::span<const std::uint8_t> payload, bool begins);
  void _finishPiece();

  const Found _found;
  std::vector<std::uint8_t> _carry;  // of a packet that has not come to its end
  std::optional<std::uint16_t> _programPID;
  std::optional<std::uint16_t> _metadataPID;
  std::set<std::uint16_t> _timedPIDs;
  std::optional<std::uint64_t> _firstTime;  // in units of 1/90000 s
  Piece _piece;
};

}  // namespace media
