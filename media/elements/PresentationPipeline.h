#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gst/gst.h>

#include "media/elements/PacketQueues.h"
#include "media/segments/TrackDemuxer.h"
#include "media/support/GstRef.h"
#include "platform/foundation/Error.h"
#include "streaming/playback/PresentationPlayback.h"

namespace media {

class ContentKeys;
class PresentationSource;
class TimestampOffsets;

/// A GstPipeline that plays a presentation of HLS or DASH.
///
/// It supports flushing seeks with a positive rate. An accurate seek shows the exact time, a
/// key-unit seek the key frame before it. Above a rate of 2 only key frames are shown, without
/// sound. Other seeks are rejected.
///
/// If a track fails permanently, a warning is posted and the other track plays on. If all tracks
/// fail, an error is posted.
///
/// Threads: one at a time, unless stated otherwise.
class PresentationPipeline {
 public:
  struct Setup {
    std::shared_ptr<streaming::PresentationPlayback> playback;  ///< prepared
    std::shared_ptr<ContentKeys> keys;                          ///< may be null
    GstElement* videoSink = nullptr;                            ///< used if there is video
    GstElement* audioSink = nullptr;                            ///< used if there is audio
    GstBus* bus = nullptr;  ///< gets all messages; null: the pipeline's own
    double start = 0;       ///< seconds
    std::function<void(double seconds, std::string bytes)> foundID3;  ///< see TrackDemuxer
    std::function<void(double segmentStart, double timeOffset, std::string box)> foundEvent;
    /// Called on any thread when a selected track runs out of data (true) and when all have data
    /// (false).
    std::function<void(bool waits)> waiting;
    std::function<std::unique_ptr<TrackDemuxer>(TrackDemuxer::Setup)> makeDemuxer =
        TrackDemuxer::make;
  };
  /// Returns null if elements of GStreamer are missing.
  static std::unique_ptr<PresentationPipeline> make(const Setup& setup);
  ~PresentationPipeline() { close(); }
  PresentationPipeline(const PresentationPipeline&) = delete;
  PresentationPipeline& operator=(const PresentationPipeline&) = delete;

  /// For state changes, seeks and queries.
  GstElement* element() const { return _pipeline.get(); }
  std::shared_ptr<TimestampOffsets> offsets() const { return _offsets; }

  /// Takes effect at the next flushing seek.
  void setSelection(const streaming::TrackSelection& selection);
  /// Returns the first failure of a track. Threads: any.
  std::optional<platform::Error> failure() const;
  /// Returns the time in seconds up to which all selected tracks have been demuxed, or nullopt if
  /// there is none, or all have ended. Threads: any.
  std::optional<double> queuedUntil() const;
  /// Sets the null state and ends all waits.
  void close();

 private:
  PresentationPipeline() = default;
  bool _build(const Setup& setup);
  bool _addTail(ElementaryKind kind, GstElement* sink);

  std::shared_ptr<TimestampOffsets> _offsets;
  std::shared_ptr<PresentationSource> _source;
  GstRef<GstElement> _pipeline;
};

}  // namespace media
