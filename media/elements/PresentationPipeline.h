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

/// A GstPipeline that plays a presentation.
///
/// Seeks: flushing ones at positive rates. An accurate seek shows exactly the wanted time; one to a
/// key unit shows the key frame before it. Above twice the speed key frames alone are shown,
/// without sound. Others are refused.
///
/// When nothing of one track can be had any more, a warning is posted and the other track plays on;
/// when that is so of all, an error is.
///
/// Threads: the owner's; functions that say so are for any.
class PresentationPipeline {
 public:
  struct Setup {
    std::shared_ptr<streaming::PresentationPlayback> playback;  ///< prepared
    std::shared_ptr<ContentKeys> keys;                          ///< may be null
    GstElement* videoSink = nullptr;                            ///< used where there are pictures
    GstElement* audioSink = nullptr;                            ///< used where there is sound
    GstBus* bus = nullptr;  ///< gets all messages; null: one of its own
    double start = 0;       ///< seconds
    std::function<void(double seconds, std::string bytes)> foundID3;  ///< as in TrackDemuxer
    std::function<void(double segmentStart, double timeOffset, std::string box)> foundEvent;
    /// On any thread: a selected track has nothing to push (true), or all have again (false).
    std::function<void(bool waits)> waiting;
    std::function<std::unique_ptr<TrackDemuxer>(TrackDemuxer::Setup)> makeDemuxer =
        TrackDemuxer::make;
  };
  /// Null where GStreamer lacks its simplest elements.
  static std::unique_ptr<PresentationPipeline> make(const Setup& setup);
  ~PresentationPipeline() { close(); }
  PresentationPipeline(const PresentationPipeline&) = delete;
  PresentationPipeline& operator=(const PresentationPipeline&) = delete;

  /// For changes of state, seeks and queries.
  GstElement* element() const { return _pipeline.get(); }
  std::shared_ptr<TimestampOffsets> offsets() const { return _offsets; }

  /// Takes effect with the next flushing seek.
  void setSelection(const streaming::TrackSelection& selection);
  /// The first failure of a track. Any thread.
  std::optional<platform::Error> failure() const;
  /// Seconds up to which all selected tracks have been demuxed; none while nothing is, or all is to
  /// its end. Any thread.
  std::optional<double> queuedUntil() const;
  /// To the null state, whatever it waits for.
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
