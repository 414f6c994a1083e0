#pragma once

#include <optional>

#include <gst/gst.h>

#include "media/durations/MediaSpan.h"
#include "media/support/GstRef.h"

namespace media {

/// The sinks may be null.
struct ResourcePipelineSetup {
  GstElement* source = nullptr;  ///< floating; has one pad, "src"
  GstElement* videoSink = nullptr;
  GstElement* audioSink = nullptr;
  GstElement* textSink = nullptr;
  GstBus* bus = nullptr;         ///< gets all messages; null: the pipeline's own
  bool usesLibavformat = false;  ///< see LibavDemuxer.h
  GstStreamType leftOut{};       ///< streams of these types do not play
  /// Of media that do not state their duration, if it was measured. Stream time begins after the
  /// lead.
  std::optional<MediaSpan> span = std::nullopt;
};

/// A GstPipeline that plays one resource of any container: the source, a parsebin, a decodebin3,
/// and a SinkTail for each sink. Null if one of these elements is missing.
///
/// Streams: decodebin3 plays the first stream of each type until a SELECT_STREAMS event is sent to
/// the pipeline. It posts the messages STREAM_COLLECTION and STREAMS_SELECTED. When it has selected
/// streams, the sinks without a stream get EOS, so that the pipeline prerolls and ends without
/// them. Audio and video that no decoder accepts are left out of the collection. A missing-plugin
/// message is posted for each, and an error if nothing is left.
///
/// A seek is sent to one stream; the demuxer seeks all of them. AccurateSeek corrects the result:
/// when an element message named kRepeatSeek is posted, call repeatSeek(). The position is the
/// largest one of video and audio.
GstRef<GstElement> makeResourcePipeline(const ResourcePipelineSetup& setup);

constexpr const char* kRepeatSeek = "vorlane-repeat-seek";
/// Not on a streaming thread.
void repeatSeek(GstElement* pipeline);
/// Call it when a seek has ended.
void finishSeek(GstElement* pipeline);

}  // namespace media
