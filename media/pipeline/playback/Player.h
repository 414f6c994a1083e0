#pragma once

#include <functional>
#include <utility>

#include <gst/gst.h>

#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/WantedPlayback.h"

namespace media {

/// The state of the player element and its position.
///
/// Threads: the pipeline's.
class Player {
 public:
  Player(LoadContext& load, const PlayerElements& elements, const WantedPlayback& wanted,
         PlaybackState& state)
      : _load(load), _elements(elements), _wanted(wanted), _state(state) {}

  /// `changed` is called when playback time starts or stops.
  void whenTimeChanges(std::function<void()> changed) { _timeChanged = std::move(changed); }

  GstElement* element() const { return _elements.player.get(); }
  /// The state that was set last; it may not be reached yet.
  GstState requested() const { return _requested; }
  void setState(GstState state);
  /// Returns to the null state before preroll, to start again.
  void reset();

  void setTimeRuns(bool runs);
  /// Stops the position at `seconds`.
  void hold(double seconds);
  /// Runs the position from the player's current one.
  void runPosition();
  double position() const;

 private:
  LoadContext& _load;
  const PlayerElements& _elements;
  const WantedPlayback& _wanted;
  PlaybackState& _state;
  std::function<void()> _timeChanged;
  GstState _requested = GST_STATE_NULL;
};

}  // namespace media
