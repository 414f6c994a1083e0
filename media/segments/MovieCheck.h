#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "media/metadata/MovieBoxes.h"

namespace media {

/// Rejects MP4 files with which libavformat would be occupied for long, whatever their size:
///
/// - Files of which the boxes "trun" and "stsz" announce more samples than there are bytes.
///   libavformat makes an index of the samples before it reads one.
/// - Files with fragments, and a track without a number. libavformat 59 then counts from
///   -1094995529 to 0 for each "trun".
/// - Files with compressed boxes, because those are not checked.
///
/// Follows the boxes in the bytes that libavformat is about to get. After a seek to a place that is
/// neither the start of a box nor in a known "mdat", it waits for the next seek.
class MovieCheck {
 public:
  /// Takes bytes before libavformat gets them. `fileSize` is the size as far as it is known.
  /// Returns false if the file is rejected.
  bool accepts(std::uint64_t position, std::span<const std::uint8_t> bytes, std::uint64_t fileSize);

 private:
  void _seek(std::uint64_t position);
  void _takeHead();
  void _checkContent(std::uint32_t type, BoxReader content);
  void _beginBox(std::uint32_t type, std::uint64_t size, std::size_t contentOffset);
  void _endBoxes();

  std::uint64_t _position = 0;
  std::uint64_t _skipTo = 0;         // where the next box begins
  std::size_t _wanted = 8;           // bytes of the head
  std::vector<std::uint8_t> _head;   // the header of the current box, and its count of samples
  std::vector<std::uint64_t> _ends;  // of the boxes around the current one
  std::map<std::uint64_t, std::uint64_t> _data;  // start and end of "mdat" boxes
  bool _hasSought = true;                        // the next box has to be one of the top level
  std::uint64_t _samples = 0;
  int _unnumbered = 0;  // tracks without a number, except for the newest one
  bool _isNewestUnnumbered = false;
  bool _isOccupying = false;
};

}  // namespace media
