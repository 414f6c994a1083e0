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
#include "media/pipeline/playback/SilenceGuard.h"

namespace media {

/// Stalls: pauses the player when the sinks run out of data, and resumes when enough was loaded.
///
/// Threads: the pipeline's.
class Buffering {
 public:
  Buffering(LoadContext& load, PlaybackState& state, Player& player, const StreamCatalog& catalog,
            SilenceGuard& silence, Announcements& announcements)
      : _load(load),
        _state(state),
        _player(player),
        _catalog(catalog),
        _silence(silence),
        _announcements(announcements) {}

  void watch(const PlayerElements& elements);
  /// The demuxer begins or ends waiting for bytes.
  void noteWaiting(bool waits);
  void noteTimeChange() { _watchDryness(); }
  /// A seek begins: earlier buffering state is void.
  void noteSeek();
  void stop();

  std::optional<platform::TimePoint> dryAt() const { return _dryAt; }
  std::optional<platform::TimePoint> refilledAt() const { return _refilledAt; }
  // Call these when the time above is reached.
  void handleDryness();
  void handleRefill();

 private:
  void _watchDryness();
  bool _isDry(const SinkProgress& sink, GstStreamType type, double position) const;
  void _stall();
  void _publish();

  LoadContext& _load;
  PlaybackState& _state;
  Player& _player;
  const StreamCatalog& _catalog;
  SilenceGuard& _silence;
  Announcements& _announcements;
  SinkProgress _videoProgress;
  SinkProgress _soundProgress;
  std::uint64_t _bytesAtStall = 0;                 // bytes transferred for the item
  std::optional<platform::TimePoint> _dryAt;       // when to check for an underrun of the sinks
  std::optional<platform::TimePoint> _refilledAt;  // when the queues count as filled
};

}  // namespace media
