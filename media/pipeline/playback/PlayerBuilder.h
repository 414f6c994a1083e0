#pragma once

#include <optional>

#include <gst/gst.h>

#include "media/durations/MediaSpan.h"
#include "media/pipeline/playback/Buffering.h"
#include "media/pipeline/playback/CurrentMetadata.h"
#include "media/pipeline/playback/PlaybackParts.h"
#include "media/pipeline/playback/SoundBranch.h"
#include "media/pipeline/playback/StreamSelection.h"
#include "media/pipeline/playback/TextBranch.h"

namespace media {

/// Builds the player: a resource pipeline for a plain resource, a PresentationPipeline for HLS and
/// DASH.
///
/// Threads: the pipeline's.
class PlayerBuilder {
 public:
  PlayerBuilder(const PlaybackParts& parts, SoundBranch& sound, TextBranch& texts,
                StreamSelection& selection, Buffering& buffering, CurrentMetadata& metadata)
      : _load(parts.load),
        _elements(parts.elements),
        _wanted(parts.wanted),
        _state(parts.state),
        _sound(sound),
        _texts(texts),
        _selection(selection),
        _buffering(buffering),
        _metadata(metadata) {}

  void makeBus();
  /// Both return false if elements of GStreamer are missing. `source` is floating and may be null.
  /// `span`: see ResourcePipelineSetup.
  bool buildResource(GstElement* source, const std::optional<MediaSpan>& span);
  bool buildPresentation(double start);
  /// Destroys the stopped player.
  void takeDown();

 private:
  void _makeSinks();
  void _receiveTexts();

  LoadContext& _load;
  PlayerElements& _elements;
  const WantedPlayback& _wanted;
  PlaybackState& _state;
  SoundBranch& _sound;
  TextBranch& _texts;
  StreamSelection& _selection;
  Buffering& _buffering;
  CurrentMetadata& _metadata;
};

}  // namespace media
