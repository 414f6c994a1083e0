#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace media {

/// Reads the block additions of text tracks in a Matroska file, which matroskademux drops. Those of
/// WebVTT are lines: the settings of the cue, its identifier, and a comment.
///
/// Limits: a block of 64 KiB, and the newest 1024 additions.
/// Threads: one at a time.
class MatroskaAdditions {
 public:
  using Bytes = std::span<const std::uint8_t>;

  /// Takes bytes of the file in order, or from any element that a demuxer reads. Bytes that were
  /// taken before are skipped.
  void feed(std::uint64_t offset, Bytes bytes);
  /// Returns the addition of a block: its track and its time in nanoseconds. Null if it has none.
  const std::string* find(std::uint64_t track, std::uint64_t time) const;

 private:
  using Key = std::pair<std::uint64_t, std::uint64_t>;
  void _beginElement(std::uint64_t skips);
  void _takeElement();
  void _readBlockGroup(Bytes group);

  std::vector<std::uint8_t> _pending;  // an element that is not complete
  std::size_t _needed = 2;             // its size as far as it is known
  std::uint64_t _skips = 0;            // bytes of an element that is not needed
  std::uint64_t _nextOffset = 0;
  bool _isLost = false;  // until the next jump
  std::uint64_t _scale = 1000000;
  std::optional<std::uint64_t> _clusterTime;
  std::map<Key, std::string> _additions;
  std::deque<Key> _order;  // the oldest first
};

}  // namespace media
