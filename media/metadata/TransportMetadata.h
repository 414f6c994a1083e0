#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <vector>

namespace media {

/// Finds timed metadata in a transport stream (elementary streams of type 0x15) while its bytes
/// arrive. tsdemux does not report it.
///
/// Limits: 64 KiB for one unit of metadata.
/// Threads: one at a time.
class TransportMetadata {
 public:
  /// `seconds` are relative to firstTime().
  using Found = std::function<void(double seconds, std::span<const std::uint8_t> data)>;
  explicit TransportMetadata(Found found) : _found(std::move(found)) {}

  void feed(std::span<const std::uint8_t> bytes);
  /// Call it before bytes from another position.
  void restart();
  /// Returns the first time stamp of audio or video, in units of 1/90000 s.
  std::optional<std::uint64_t> firstTime() const { return _firstTime; }

 private:
  struct Unit {
    bool begun = false;
    std::vector<std::uint8_t> bytes;
  };
  void _takePacket(std::span<const std::uint8_t> packet);
  void _takeTable(std::span<const std::uint8_t> payload, bool isProgram);
  void _takeTime(std::span<const std::uint8_t> payload);
  void _takeData(std::span<const std::uint8_t> payload, bool begins);
  void _emitUnit();

  const Found _found;
  std::vector<std::uint8_t> _partialPacket;
  std::optional<std::uint16_t> _programPID;
  std::optional<std::uint16_t> _metadataPID;
  std::set<std::uint16_t> _timedPIDs;
  std::optional<std::uint64_t> _firstTime;  // in units of 1/90000 s
  Unit _unit;
};

}  // namespace media
