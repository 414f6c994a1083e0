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

/// The audio output. If the device is lost, playback continues without sound, and the device is
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

  /// Creates the output, and a handler on `bus` that detects video streams.
  void make(GstBus* bus);
  /// Opens the device before the player is built.
  void setUp();
  /// Starts a held load. Opens an exclusive device after `waitForPredecessor`.
  void begin(const std::function<void()>& waitForPredecessor);
  void applyVolume();
  void setHasPicture(bool hasPicture) const;
  /// Logs once in a process that there is no device.
  void noteReady() const;
  /// A preroll or a seek has ended: after a loss, data flows again.
  void noteFlush() { _awaitsFlush = false; }

  enum class ErrorSource {
    Elsewhere,
    Sound,         ///< a lost device, or an error caused by it: handled
    SoundAndSeek,  ///< the same, and the current seek has ended
  };
  ErrorSource handleError(GstMessage* message);
  /// The sound server has requested a pause.
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
  std::shared_ptr<const AudioDevice::DeviceAddedHandler> _deviceAdded;
  bool _awaitsFlush = false;  // from the loss of the device to the flush after it
  std::optional<platform::TimePoint> _searchAt;  // for a device; only while time runs
  platform::Duration _searchDelay{};
};

}  // namespace media
