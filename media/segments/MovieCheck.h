#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "media/metadata/MovieBoxes.h"

namespace media {

/// Rejects MP4 files with which libavformat would be occupied for long, whatever their size:
///
/// - The boxes "trun" and "stsz" announce more samples than the file has bytes. libavformat makes
/// an
///   index of them before it reads one.
/// - There are fragments, and a track without a number. libavformat 59 to 61 counts from
/// -1094995529
///   to 0 for each "trun" then.
///
/// Follows the boxes in the bytes that libavformat is about to get. After a seek into the data of a
/// box it waits for the next seek.
class MovieCheck {
 public:
  /// Takes bytes before libavformat gets them. `fileSize` is the size as far as it is known.
  /// Returns false if the file is rejected.
  bool accepts(std::uint64_t position, std::span<const std::uint8_t> bytes, std::uint64_t fileSize);

 private:
  void _seek(std::uint64_t position);
  void _takeHead();
  void _checkContent(std::uint32_t type, BoxReader content);
  void _beginBox(std::uint32_t type, std::uint64_t size, std::size_t headerSize);
  void _endBoxes();

  std::uint64_t _position = 0;
  std::uint64_t _skipTo = 0;         // where the next box begins
  std::size_t _wanted = 8;           // bytes of the head
  std::vector<std::uint8_t> _head;   // the header of the current box, and its count of samples
  std::vector<std::uint64_t> _ends;  // of the boxes around the current one
  bool _hasSought = true;            // the next box has to be one of the top level
  std::uint64_t _samples = 0;
  int _unnumbered = 0;  // tracks without a number, except for the newest one
  bool _isNewestUnnumbered = false;
  bool _isOccupying = false;
};

}  // namespace media
