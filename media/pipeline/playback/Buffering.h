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

/// Stalls: when media do not come in time, the player pauses until enough have come.
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

  /// Watches the sinks that are there.
  void watch(const PlayerElements& elements);
  /// The demuxer waits for bytes, or no longer.
  void noteWaiting(bool waits);
  void noteTimeChange() { _watchDryness(); }
  /// A seek begins: what it needs has yet to come.
  void noteSeek();
  void stop();

  std::optional<platform::TimePoint> dryAt() const { return _dryAt; }
  std::optional<platform::TimePoint> refilledAt() const { return _refilledAt; }
  /// At these times.
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
  std::uint64_t _bytesAtStall = 0;                 // of the item's transfers
  std::optional<platform::TimePoint> _dryAt;       // look whether the sinks have run dry
  std::optional<platform::TimePoint> _refilledAt;  // the demuxer has had enough for so long
};

}  // namespace media
