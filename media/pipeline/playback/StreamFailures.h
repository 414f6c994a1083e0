#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <gst/gst.h>

#include "media/elements/SilentStreams.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/StreamSelection.h"
#include "platform/foundation/Error.h"

namespace media {

/// Handles streams that GStreamer cannot play. Before preroll, a resource is opened a second time
/// with libavformat. If that fails too, it plays without the streams that cannot be decoded, as
/// long as any audio or video is left. Each such stream is in the error log.
///
/// Threads: the pipeline's.
class StreamFailures {
 public:
  /// `reopen` builds the player of a resource again.
  StreamFailures(LoadContext& load, const PlayerElements& elements, PlaybackState& state,
                 StreamSelection& selection, std::function<void()> reopen)
      : _load(load),
        _elements(elements),
        _state(state),
        _selection(selection),
        _reopen(std::move(reopen)) {}

  // These return the error with which the item fails, or nullopt if it goes on.

  /// Handles a missing-plugin message.
  std::optional<platform::Error> handleMissingPlugin(GstMessage* message);
  /// Handles a message of reportSilentStreams(): audio or video without any output.
  std::optional<platform::Error> handleSilentStream(const SilentStream& stream);
  /// Handles kSkippedAudioMessage: opens the resource with libavformat. If that fails, the item
  /// plays without the audio.
  void handleSkippedAudio();
  /// Handles an error of the pipeline. `message` may be null.
  std::optional<platform::Error> handleError(platform::Error error, GstMessage* message);

 private:
  bool _canReopen() const;
  /// `type`: what has failed, or 0 if it is not known.
  std::optional<platform::Error> _handle(platform::Error error, GstStreamType type);
  bool _retry(const platform::Error& error);
  bool _reopenWithoutLibavformat();
  bool _leaveOut(GstStreamType type, const platform::Error& error);
  void _log(const std::string& type, platform::Error error);

  LoadContext& _load;
  const PlayerElements& _elements;
  PlaybackState& _state;
  StreamSelection& _selection;
  const std::function<void()> _reopen;
  bool _hasSkippedAudio = false;                        // the reason why libavformat is used
  std::optional<platform::Error> _firstError;           // of the first try
  std::map<std::string, platform::Error> _undecodable;  // by the type of the caps
};

}  // namespace media
