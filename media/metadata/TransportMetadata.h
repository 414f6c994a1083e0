#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <vector>

namespace media {

/// Finds what tsdemux does not report in a transport stream, while its bytes arrive: timed metadata
/// (elementary streams of type 0x15), and DTS and TrueHD. tsdemux outputs these only if programs
/// and packets are marked as on a disc. libavformat detects them by their data.
///
/// Limits: 64 KiB for one unit of metadata.
/// Threads: one at a time.
class TransportMetadata {
 public:
  /// `seconds` are relative to firstTime().
  using Found = std::function<void(double seconds, std::span<const std::uint8_t> data)>;
  using FoundAudio = std::function<void()>;
  /// `foundAudio` is called once.
  explicit TransportMetadata(Found found, FoundAudio foundAudio = {})
      : _found(std::move(found)), _foundAudio(std::move(foundAudio)) {}

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
  void _takeStreams(std::span<const std::uint8_t> table);
  void _takeTime(std::span<const std::uint8_t> payload);
  void _takeData(std::span<const std::uint8_t> payload, bool begins);
  void _emitUnit();

  const Found _found;
  FoundAudio _foundAudio;  // null after the call
  std::vector<std::uint8_t> _partialPacket;
  std::optional<std::uint16_t> _programPID;
  std::optional<std::uint16_t> _metadataPID;
  std::set<std::uint16_t> _timedPIDs;
  std::optional<std::uint64_t> _firstTime;  // in units of 1/90000 s
  Unit _unit;
};

}  // namespace media
