#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gst/gst.h>

#include "media/elements/DecoderChain.h"
#include "media/elements/PacketQueues.h"
#include "media/elements/PlayRange.h"
#include "media/elements/StreamPusher.h"
#include "media/elements/TrackFeed.h"
#include "media/segments/TrackDemuxer.h"
#include "platform/foundation/Error.h"
#include "streaming/playback/PresentationPlayback.h"

namespace media {

struct PresentationSourceSetup {
  std::shared_ptr<streaming::PresentationPlayback> playback;
  double start = 0;  ///< seconds
  /// Creates a demuxer for a reader and its targets.
  std::function<std::unique_ptr<TrackDemuxer>(std::shared_ptr<streaming::TrackReader> reader,
                                              PacketQueues::Targets targets)>
      makeDemuxer;
  std::function<void(bool)> waiting;  ///< see PresentationPipeline::Setup; may be empty
};

/// The element that pushes the selected tracks of a presentation, with a pad for each kind. It
/// handles seeks and queries.
///
/// Threads: any, unless stated otherwise.
class PresentationSource {
 public:
  /// Creates pads for `kinds`.
  static std::shared_ptr<PresentationSource> make(PresentationSourceSetup setup,
                                                  PacketQueues::Targets kinds);
  explicit PresentationSource(PresentationSourceSetup setup);
  PresentationSource(const PresentationSource&) = delete;
  PresentationSource& operator=(const PresentationSource&) = delete;

  /// Floating until it is added to a bin. It owns a reference to this object.
  GstElement* element() const { return _element; }
  /// Links the pad of `kind` to `tail` by way of a DecoderChain in `bin`. Call it before the start.
  void linkTo(GstBin* bin, ElementaryKind kind, GstPad* tail);

  bool seek(GstEvent* event);
  /// Returns false if the query is not handled here.
  bool handleQuery(GstQuery* query) const;
  /// Sets the selection for the next flushing seek.
  void select(const streaming::TrackSelection& selection);
  std::optional<platform::Error> failure() const;
  /// Returns the time in seconds up to which all playing tracks have been demuxed.
  std::optional<double> queuedUntil() const;

 private:
  friend struct PresentationSourceAccess;
  struct Stream {
    GstPad* pad = nullptr;  // owned by the element
    std::unique_ptr<DecoderChain> chain;
    std::unique_ptr<StreamPusher> pusher;
    bool isFed = false;
    bool hasFailed = false;
  };
  void _start();
  void _stop();
  void _planFeeds();
  void _beginRange();
  void _startFlow();
  void _stopFlow();
  void _step(GstPad* pad);
  void _flush(GstEvent* event);
  void _noteReached(ElementaryKind kind, double seconds);
  void _noteWait(bool waits);
  void _noteFailure(ElementaryKind kind, const platform::Error& error);
  void _reportMissing(GstCaps* caps);

  const PresentationSourceSetup _setup;
  const guint _groupID = gst_util_group_id_next();
  GstElement* _element = nullptr;
  PacketQueues _queues;
  PlayRange _range;
  std::vector<std::pair<ElementaryKind, Stream>> _streams;  // constant after the start

  // Serializes seeks, start and stop. Held while flush events are sent.
  std::mutex _control;
  GstSegment _segment{};
  std::optional<guint32> _lastSeek;
  bool _awaitsKey = false;
  bool _isRunning = false;
  std::atomic<bool> _showsPicture = false;
  std::vector<std::unique_ptr<TrackFeed>> _feeds;

  mutable std::mutex _mutex;  // guards the members below
  std::optional<streaming::TrackSelection> _wanted;
  std::optional<platform::Error> _failure;
  int _waitCount = 0;
  bool _reportedWaiting = false;
  bool _isReporting = false;
};

}  // namespace media
