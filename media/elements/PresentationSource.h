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

/// What demuxers are made with, beside their reader.
struct PresentationSourceSetup {
  std::shared_ptr<streaming::PresentationPlayback> playback;
  double start = 0;  ///< seconds
  /// With the names and callbacks of all of them; the reader and what is wanted are filled in.
  std::function<std::unique_ptr<TrackDemuxer>(std::shared_ptr<streaming::TrackReader> reader,
                                              PacketQueues::Targets targets)>
      makeDemuxer;
  std::function<void(bool)> waiting;  ///< as PresentationPipeline::Setup; may be empty
};

/// The element that pushes the selected tracks of a presentation, a pad for each kind. It performs
/// seeks and answers queries.
///
/// Threads: any, unless stated.
class PresentationSource {
 public:
  /// Pads for the kinds that `kinds` names.
  static std::shared_ptr<PresentationSource> make(PresentationSourceSetup setup,
                                                  PacketQueues::Targets kinds);
  explicit PresentationSource(PresentationSourceSetup setup);
  PresentationSource(const PresentationSource&) = delete;
  PresentationSource& operator=(const PresentationSource&) = delete;

  /// Floating until a bin takes it; shares the ownership of this.
  GstElement* element() const { return _element; }
  /// In `bin`, which contains the element, between the pad of `kind` and `tail`. Before it runs.
  void linkTo(GstBin* bin, ElementaryKind kind, GstPad* tail);

  bool seek(GstEvent* event);
  /// False: it is for others to answer.
  bool answer(GstQuery* query) const;
  /// What is wanted from the next flushing seek on.
  void select(const streaming::TrackSelection& selection);
  std::optional<platform::Error> failure() const;
  /// Seconds up to which all that is played has been demuxed.
  std::optional<double> queuedUntil() const;

 private:
  friend struct PresentationSourceShell;
  struct Stream {
    GstPad* pad = nullptr;  // the element's
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
  std::vector<std::pair<ElementaryKind, Stream>> _streams;  // does not change once it runs

  // Serializes seeks with the start and the end. Flushes go out while it is held.
  std::mutex _control;
  GstSegment _segment{};
  std::optional<guint32> _lastSeek;
  bool _awaitsKey = false;
  bool _isRunning = false;
  std::atomic<bool> _showsPicture = false;
  std::vector<std::unique_ptr<TrackFeed>> _feeds;

  mutable std::mutex _mutex;  // guards the rest
  std::optional<streaming::TrackSelection> _wanted;
  std::optional<platform::Error> _failure;
  int _waitCount = 0;
  bool _toldWaiting = false;
  bool _isTelling = false;
};

}  // namespace media
