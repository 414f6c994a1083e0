#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <gst/gst.h>

#include "media/pipeline/AudioDevice.h"
#include "media/pipeline/StreamCatalog.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/Player.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/WantedPlayback.h"
#include "media/support/GstRef.h"

namespace media {

/// Where the sound goes. When the device is lost, playback goes on without sound, and the device is
/// searched for while time runs.
///
/// Threads: the pipeline's.
class SoundBranch {
 public:
  SoundBranch(LoadContext& load, PlayerElements& elements, WantedPlayback& wanted,
              const PlaybackState& state, Player& player, const StreamCatalog& catalog)
      : _load(load),
        _elements(elements),
        _wanted(wanted),
        _state(state),
        _player(player),
        _catalog(catalog) {}

  /// The output, and the handler on `bus` that tells it of pictures.
  void make(GstBus* bus);
  /// Opens the device before the player is built.
  void setUp();
  /// The load is held no longer. An exclusive device is opened after `waitForPredecessor`.
  void begin(const std::function<void()>& waitForPredecessor);
  void applyVolume();
  void setHasPicture(bool hasPicture) const;
  /// The load becomes ready: the log says, once in a process, that there is no device.
  void noteReady() const;
  /// A preroll or a seek has ended: what a loss has interrupted flows again.
  void noteFlush() { _mends = false; }

  enum class ErrorSource {
    Elsewhere,
    Sound,         ///< the device has gone, or the error comes of that: it has been handled
    SoundAndSeek,  ///< likewise, and a seek that was under way has ended
  };
  ErrorSource handleError(GstMessage* message);
  /// The sound server asks for silence.
  void noteInterruption() { _load.setup.audio->noteInterruption(); }

  /// When to search for a device.
  std::optional<platform::TimePoint> searchAt() const;
  void search();

 private:
  static GstBusSyncReply _onSyncMessage(GstBus* bus, GstMessage* message, gpointer output);
  bool _isSilent() const { return _elements.sound && _elements.sound->isSilent(); }
  void _change(GstRef<GstElement> sink);
  void _requestFlush(double position);

  LoadContext& _load;
  PlayerElements& _elements;
  WantedPlayback& _wanted;
  const PlaybackState& _state;
  Player& _player;
  const StreamCatalog& _catalog;
  std::shared_ptr<const AudioDevice::Arrival> _arrival;
  bool _mends = false;                           // from a loss to the flush that mends it
  std::optional<platform::TimePoint> _searchAt;  // for a device, while time runs
  platform::Duration _searchDelay{};
};

}  // namespace media
