#pragma once

#include <vector>

#include "receivers/upnp/model/BoxCalls.h"
#include "receivers/upnp/model/Clock.h"

namespace upnp {

/// Reads the box's "playbackInfo" for actions that wait for it. One call of the box answers all
/// actions that arrive meanwhile. Without an answer within a second they get none.
class PlaybackReader {
 public:
  PlaybackReader(BoxCalls& calls, Clock& clock) : _calls(calls), _clock(clock) {}

  void read(BoxCalls::PlaybackCompletion done);
  /// Gives none to all that wait.
  void cancel() { _finish(std::nullopt); }

 private:
  void _finish(const std::optional<Playback>& playback);

  BoxCalls& _calls;
  Clock& _clock;
  std::vector<BoxCalls::PlaybackCompletion> _waiting;
  unsigned _round = 0;
  Clock::Timer _timeout;
};

}  // namespace upnp
