#pragma once

#include <functional>
#include <utility>

#include <gst/gst.h>

#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/WantedPlayback.h"

namespace media {

/// The state of the player and the time that it plays.
///
/// Threads: the pipeline's.
class Player {
 public:
  Player(LoadContext& load, const PlayerElements& elements, const WantedPlayback& wanted,
         PlaybackState& state)
      : _load(load), _elements(elements), _wanted(wanted), _state(state) {}

  /// `changed` is called when time begins to run or stops.
  void whenTimeChanges(std::function<void()> changed) { _timeChanged = std::move(changed); }

  GstElement* element() const { return _elements.player.get(); }
  /// What was asked for last; the player may be on its way there.
  GstState requested() const { return _requested; }
  void setState(GstState state);
  /// Back to the null state before the preroll, to begin anew.
  void reset();

  void setTimeRuns(bool runs);
  /// Time stands still at `seconds`.
  void hold(double seconds);
  /// The position runs on from where the player is.
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
