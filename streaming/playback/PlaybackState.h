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

/// What the transfer thread and other threads share of a presentation that is played.
struct PlaybackState {
  PieceShelf& shelf(MediaKind kind) const { return *shelves.at(static_cast<std::size_t>(kind)); }

  KnownTimeline known() const {
    const std::lock_guard lock(mutex);
    return knowledge;
  }

  std::array<std::shared_ptr<PieceShelf>, 3> shelves;  // by MediaKind
  std::atomic<double> position = 0;
  std::atomic<double> startPosition = 0;  // where playing began, or was sought to last
  std::atomic<double> clockOffset = 0;    // of the server's civil time

  mutable std::mutex mutex;  // guards the rest but the handlers
  KnownTimeline knowledge;
  std::array<bool, 3> isAtEnd{};
  TrackSelection selection;
  bool isSelected = false;
  /// By the identifier of a representation whose manifest does not tell.
  std::map<std::string, PieceContent, std::less<>> contents;

  HandlerSlot<const TrackPiece&, bool> textHandler;
  HandlerSlot<> changeHandler;
};

}  // namespace streaming
