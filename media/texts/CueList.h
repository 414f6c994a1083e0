#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "media/output/SubtitleCues.h"

namespace media {

/// Collects the cues of a text within the limits of SubtitleCues.
class CueList {
 public:
  /// Bounds the cue. Returns false, and drops it, if the list is full.
  bool add(SubtitleCue cue) {
    bound(cue);
    const std::size_t more = bytesOf(cue);
    if (isFull() || more > SubtitleCues::kByteLimit - _bytes) return false;
    _bytes += more;
    _cues.push_back(std::move(cue));
    return true;
  }
  bool isFull() const {
    return _cues.size() >= SubtitleCues::kCueLimit || _bytes >= SubtitleCues::kByteLimit;
  }
  std::vector<SubtitleCue> take() { return std::move(_cues); }

 private:
  std::vector<SubtitleCue> _cues;
  std::size_t _bytes = 0;
};

}  // namespace media
