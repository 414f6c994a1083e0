#pragma once

#include <cstdint>
#include <string>

namespace platform {

struct MediaTrack {
  std::uint32_t trackID = 0;
  std::string mediaType;  ///< "video", "audio" or "text"
  /// For display only; may be empty. Forms: a name ("H.264 (High Profile)"), the first part of a
  /// codec of a manifest ("avc1"), or a media type ("video/x-h264").
  std::string codec;
  bool enabled = true;
  friend bool operator==(const MediaTrack&, const MediaTrack&) = default;
};

/// A named part of the item.
struct MediaChapter {
  double start = 0;  ///< seconds
  std::string title;
  friend bool operator==(const MediaChapter&, const MediaChapter&) = default;
};

}  // namespace platform
