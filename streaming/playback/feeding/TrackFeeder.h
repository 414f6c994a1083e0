#pragma once

#include <memory>
#include <optional>
#include <string>

#include "streaming/playback/feeding/FeederHost.h"
#include "streaming/playback/feeding/SegmentFinder.h"
#include "streaming/playback/feeding/TrackBuffer.h"
#include "streaming/playback/loading/PreloadHint.h"
#include "streaming/playback/loading/SegmentFetch.h"

namespace streaming {

/// Loads the pieces of one track in order, starting at the position of its reader. It stops when
/// enough is buffered and continues at pump(). Transfer thread only.
class TrackFeeder {
 public:
  TrackFeeder(FeederHost& host, MediaKind kind, std::shared_ptr<TrackBuffer> buffer);

  /// Empty: load nothing. A change of the track takes effect at the next seek.
  void setTrack(const std::string& id);
  /// The track after the next seek.
  const std::string& track() const { return _nextTrack; }

  enum class State { Loading, Loaded, Failed };
  /// Loads the index of the initial representation.
  State load(double around);
  /// Continues loading. Call it after any change: of the position, the reader, the manifest, or an
  /// index.
  void pump();
  void stop();

  /// The representation chosen last; null: none yet.
  const std::shared_ptr<const Representation>& representation() const { return _representation; }
  TrackBuffer& buffer() { return *_buffer; }
  const TrackBuffer& buffer() const { return *_buffer; }
  std::optional<platform::Error> error() const;
  /// All segments up to the end of the track were loaded.
  bool isAtEnd() const { return _isTerminated; }

 private:
  /// The last long segment after it has ended. Its reader may request other ranges of it.
  struct LongSegment {
    std::unique_ptr<SegmentFetch> fetch;
    std::optional<TrackBuffer::ID> piece;
  };
  struct Losses {
    std::optional<SegmentFinder::Step> step;  // the segment that is being tried
    unsigned attempts = 0;                    // failed requests of this segment
    unsigned delays = 0;                      // delayed retries of this segment
    std::optional<MonotonicTime> notBefore;   // time of the next retry
    unsigned consecutive = 0;                 // since the last seek
    bool hasLoadedAny = false;                // of this track
    bool hasLostAny = false;                  // of this track
    bool isKeyRefused = false;
    bool wasTruncated = false;  // the previous piece is incomplete
  };

  bool _step();
  void _takeSeek();
  void _followReader();
  bool _isFetching(const SegmentFinder::Step& step) const;
  bool _hasWaitTimedOut(const SegmentFinder::Step& step);
  bool _hasRoom(const SegmentFinder::Step& step);
  void _waitUntil(platform::Date date);
  void _pumpIn(double seconds);
  void _fetchPiece(const SegmentFinder::Step& step);
  void _fetchHint(const SegmentFinder::Step& step, const TrackPiece& tail);
  std::unique_ptr<SegmentFetch> _makeFetch(const Segment& segment,
                                           std::shared_ptr<const Representation> representation,
                                           SegmentFetch::Handlers handlers);
  void _began(TrackPiece piece);
  void _ended(const std::optional<SegmentFetch::Failure>& failure);
  bool _retryLater(const SegmentFetch::Failure& failure);
  void _addGap(Segment segment, std::shared_ptr<const Representation> representation,
               bool isDiscontinuous);
  void _append(TrackPiece piece);
  void _skipSegment();
  void _terminate(TrackPiece::Kind kind);
  void _cancelFetch();

  FeederHost& _host;
  const MediaKind _kind;
  const std::shared_ptr<TrackBuffer> _buffer;
  SegmentFinder _finder;
  std::string _track;
  std::string _nextTrack;
  std::shared_ptr<const Representation> _representation;

  std::optional<double> _from;           // a seek that is not answered yet
  std::optional<TrackBuffer::ID> _tail;  // the last piece of the reader's run
  std::unique_ptr<SegmentFetch> _fetch;
  std::optional<TrackBuffer::ID> _fetched;  // the piece of _fetch, once it was added
  PreloadHint _hint;
  LongSegment _longSegment;
  Losses _losses;
  std::optional<platform::Error> _error;  // the last one
  bool _isTerminated = false;
  bool _isPumping = false;
  bool _pumpsAgain = false;
  std::shared_ptr<void> _timer;
};

}  // namespace streaming
