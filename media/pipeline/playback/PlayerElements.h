#pragma once

#include <memory>

#include <gst/gst.h>

#include "media/elements/PresentationPipeline.h"
#include "media/pipeline/AudioOutput.h"
#include "media/pipeline/VideoSink.h"
#include "media/support/GstRef.h"
#include "media/texts/TextSink.h"

namespace media {

/// The player and its parts. Only used on the pipeline's thread.
struct PlayerElements {
  GstRef<GstBus> bus;
  GstRef<GstElement> player;                           ///< null until it is built
  std::unique_ptr<PresentationPipeline> presentation;  ///< null for a plain resource
  std::unique_ptr<AudioOutput> sound;                  ///< created with the bus
  std::unique_ptr<VideoSink> video;
  std::unique_ptr<TextSink> text;  ///< null for a presentation
};

}  // namespace media
