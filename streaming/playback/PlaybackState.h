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
#include "streaming/playback/feeding/PieceShelf.h"
#include "streaming/timeline/KnownTimeline.h"

namespace streaming {

inline constexpr std::array<MediaKind, 3> kMediaKinds = {MediaKind::Video, MediaKind::Audio,
                                                         MediaKind::Text};

/// State of a presentation that the transfer thread shares with other threads.
struct PlaybackState {
  PieceShelf& shelf(MediaKind kind) const { return *shelves.at(static_cast<std::size_t>(kind)); }

  KnownTimeline known() const {
    const std::lock_guard lock(mutex);
    return knowledge;
  }

  std::array<std::shared_ptr<PieceShelf>, 3> shelves;  // by MediaKind
  std::atomic<double> position = 0;
  std::atomic<double> startPosition = 0;  // of the start or the last seek
  std::atomic<double> clockOffset = 0;    // server time minus local time, seconds

  mutable std::mutex mutex;  // guards the members below, except handlers
  KnownTimeline knowledge;
  std::array<bool, 3> isAtEnd{};
  TrackSelection selection;
  bool isSelected = false;
  /// Streams found by demuxers, by Representation::id. Only for representations without codecs.
  std::map<std::string, PieceContent, std::less<>> contents;

  HandlerSlot<const TrackPiece&, bool> textHandler;
  HandlerSlot<> changeHandler;
};

}  // namespace streaming
