#pragma once

#include <cstdint>
#include <optional>

#include "media/pipeline/SinkProgress.h"
#include "media/pipeline/StreamCatalog.h"
#include "media/pipeline/playback/Announcements.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/Player.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/ProgressTimeout.h"

namespace media {

/// Stalls: pauses the player when the sinks run out of data, and resumes when enough was loaded.
///
/// Threads: the pipeline's.
class Buffering {
 public:
  Buffering(LoadContext& load, PlaybackState& state, Player& player, const StreamCatalog& catalog,
            ProgressTimeout& progressTimeout, Announcements& announcements)
      : _load(load),
        _state(state),
        _player(player),
        _catalog(catalog),
        _progressTimeout(progressTimeout),
        _announcements(announcements) {}

  void watch(const PlayerElements& elements);
  /// The demuxer begins or ends waiting for bytes.
  void noteWaiting(bool waits);
  void noteTimeChange() { _scheduleUnderrunCheck(); }
  /// `expectsData`: the player runs and has not reached the end.
  void watchData(bool expectsData);
  /// A seek begins: earlier buffering state is void.
  void noteSeek();
  void stop();

  std::optional<platform::TimePoint> underrunCheckAt() const { return _underrunCheckAt; }
  std::optional<platform::TimePoint> refilledAt() const { return _refilledAt; }
  std::optional<platform::TimePoint> dataCheckAt() const { return _dataCheckAt; }
  // Call these when the time above is reached.
  void checkForUnderrun();
  void handleRefill();
  /// Returns whether the demuxer outputs neither data nor an end, although nothing is missing that
  /// it could wait for.
  bool checkForLostData();

 private:
  void _scheduleUnderrunCheck();
  bool _hasUnderrun(const SinkProgress& sink, GstStreamType type, double position) const;
  bool _hasNoData() const;
  std::uint64_t _itemCount() const {
    return _videoProgress.itemCount() + _soundProgress.itemCount();
  }
  void _stall();
  void _publish();

  LoadContext& _load;
  PlaybackState& _state;
  Player& _player;
  const StreamCatalog& _catalog;
  ProgressTimeout& _progressTimeout;
  Announcements& _announcements;
  SinkProgress _videoProgress;
  SinkProgress _soundProgress;
  std::uint64_t _bytesAtStall = 0;  // bytes transferred for the item
  std::optional<platform::TimePoint>
      _underrunCheckAt;                            // when to check for an underrun of the sinks
  std::optional<platform::TimePoint> _refilledAt;  // when the queues count as filled
  std::optional<platform::TimePoint> _dataCheckAt;
  bool _isDataLost = false;             // as the last check has found
  std::uint64_t _itemsBeforeCheck = 0;  // items of the sinks when the check was scheduled
};

}  // namespace media
