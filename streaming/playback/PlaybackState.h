#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "streaming/playback/HandlerSlot.h"
#include "streaming/playback/PresentationPlayback.h"
#include "streaming/playback/feeding/TrackBuffer.h"
#include "streaming/timeline/TimelineSnapshot.h"

namespace streaming {

inline constexpr std::array<MediaKind, 3> kMediaKinds = {MediaKind::Video, MediaKind::Audio,
                                                         MediaKind::Text};

/// State of a presentation that the transfer thread shares with other threads.
struct PlaybackState {
  TrackBuffer& buffer(MediaKind kind) const { return *buffers.at(static_cast<std::size_t>(kind)); }

  TimelineSnapshot known() const {
    const std::lock_guard lock(mutex);
    return knowledge;
  }

  std::array<std::shared_ptr<TrackBuffer>, 3> buffers;  // by MediaKind
  std::atomic<double> position = 0;
  std::atomic<double> startPosition = 0;  // of the start or the last seek
  std::atomic<double> clockOffset = 0;    // server time minus local time, seconds

  mutable std::mutex mutex;  // guards the members below, except handlers
  TimelineSnapshot knowledge;
  std::array<bool, 3> isAtEnd{};
  TrackSelection selection;
  bool isSelected = false;
  /// Streams found by demuxers, by Representation::id. Only for representations without codecs.
  std::map<std::string, ContainedStreams, std::less<>> contents;

  HandlerSlot<const TrackPiece&, bool> textHandler;
  HandlerSlot<> changeHandler;
};

}  // namespace streaming
