#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace media {

/// Reads the Tracks element at the head of a Matroska file.
///
/// Limits: a head of 1 MiB, 256 tracks.
/// Threads: one at a time.
class MatroskaTracks {
 public:
  using Bytes = std::span<const std::uint8_t>;
  struct Track {
    bool forced = false;
    std::string codec;
    std::string codecPrivate;  ///< of WebVTT only: its header, with style sheets and regions
  };

  /// Takes bytes of the file: either all of them in order, or those that a demuxer reads.
  void feed(std::uint64_t offset, Bytes bytes);
  /// Returns the tracks by their numbers. The map is empty until the Tracks element has been read.
  const std::map<std::uint64_t, Track>& tracks() const { return _tracks; }

 private:
  void _parseHead();
  void _readTracks(Bytes content);

  std::vector<std::uint8_t> _head;
  std::uint64_t _nextOffset = 0;
  bool _isDone = false;
  std::map<std::uint64_t, Track> _tracks;
};

}  // namespace media
