#pragma once

#include <gst/gst.h>

#include "media/pipeline/playback/Buffering.h"
#include "media/pipeline/playback/CurrentMetadata.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "media/pipeline/playback/PlayerElements.h"
#include "media/pipeline/playback/SoundBranch.h"
#include "media/pipeline/playback/StreamSelection.h"
#include "media/pipeline/playback/TextBranch.h"
#include "media/pipeline/playback/WantedPlayback.h"

namespace media {

/// Builds the player: a resource pipeline for a plain resource, a PresentationPipeline for HLS and
/// DASH.
///
/// Threads: the pipeline's.
class PlayerBuilder {
 public:
  PlayerBuilder(LoadContext& load, PlayerElements& elements, const WantedPlayback& wanted,
                PlaybackState& state, SoundBranch& sound, TextBranch& texts,
                StreamSelection& selection, Buffering& buffering, CurrentMetadata& metadata)
      : _load(load),
        _elements(elements),
        _wanted(wanted),
        _state(state),
        _sound(sound),
        _texts(texts),
        _selection(selection),
        _buffering(buffering),
        _metadata(metadata) {}

  void makeBus();
  /// Both return false if elements of GStreamer are missing. `source` is floating and may be null.
  bool buildResource(GstElement* source);
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
