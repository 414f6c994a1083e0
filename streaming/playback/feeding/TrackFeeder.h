#pragma once

#include <memory>
#include <optional>
#include <string>

#include "streaming/playback/feeding/FeederHost.h"
#include "streaming/playback/feeding/PieceShelf.h"
#include "streaming/playback/feeding/TrackWalk.h"
#include "streaming/playback/loading/HintedPiece.h"
#include "streaming/playback/loading/PieceFetch.h"

namespace streaming {

/// Loads the pieces of one track in order, starting at the position of its reader. It stops when
/// enough is buffered and continues at pump(). Transfer thread only.
class TrackFeeder {
 public:
  TrackFeeder(FeederHost& host, MediaKind kind, std::shared_ptr<PieceShelf> shelf);

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
  /// Cancels the running request.
  void stop();

  /// The representation chosen last; null: none yet.
  const std::shared_ptr<const Representation>& representation() const { return _representation; }
  PieceShelf& shelf() { return *_shelf; }
  const PieceShelf& shelf() const { return *_shelf; }
  std::optional<platform::Error> error() const;
  /// All segments up to the end of the track were loaded.
  bool isAtEnd() const { return _isTerminated; }

 private:
  /// The last long segment after it has ended. Its reader may request other ranges of it.
  struct Kept {
    std::unique_ptr<PieceFetch> fetch;
    std::optional<PieceShelf::ID> piece;
  };
  /// Errors so far.
  struct Losses {
    std::optional<TrackWalk::Step> step;     // the segment that is being tried
    unsigned attempts = 0;                   // failed requests of this segment
    unsigned delays = 0;                     // delayed retries of this segment
    std::optional<MonotonicTime> notBefore;  // time of the next retry
    unsigned inARow = 0;
    bool hadAny = false;
    bool isKeyRefused = false;
    bool wasCutOff = false;  // the previous piece is incomplete
  };

  bool _step();
  void _takeSeek();
  void _followReader();
  bool _isFetching(const TrackWalk::Step& step) const;
  bool _isWaitInVain(const TrackWalk::Step& step);
  bool _hasRoom(const TrackWalk::Step& step);
  void _waitUntil(platform::Date date);
  void _pumpIn(double seconds);
  void _fetchPiece(const TrackWalk::Step& step);
  void _fetchHint(const TrackWalk::Step& step, const TrackPiece& tail);
  std::unique_ptr<PieceFetch> _makeFetch(const Segment& segment,
                                         std::shared_ptr<const Representation> representation,
                                         PieceFetch::Handlers handlers);
  void _began(TrackPiece piece);
  void _ended(const std::optional<PieceFetch::Failure>& failure);
  bool _tryLater(const PieceFetch::Failure& failure);
  void _addGap(Segment segment, std::shared_ptr<const Representation> representation,
               bool isDiscontinuous);
  void _put(TrackPiece piece);
  void _loseSegment();
  void _terminate(TrackPiece::Kind kind);
  void _cancelFetch();

  FeederHost& _host;
  const MediaKind _kind;
  const std::shared_ptr<PieceShelf> _shelf;
  TrackWalk _walk;
  std::string _track;
  std::string _nextTrack;
  std::shared_ptr<const Representation> _representation;

  std::optional<double> _from;          // a seek that is not answered yet
  std::optional<PieceShelf::ID> _tail;  // the last piece of the reader's run
  std::unique_ptr<PieceFetch> _fetch;
  std::optional<PieceShelf::ID> _fetched;  // the piece of _fetch, once it was added
  HintedPiece _hint;
  Kept _kept;
  Losses _losses;
  std::optional<platform::Error> _error;  // the last one
  bool _isTerminated = false;
  bool _isPumping = false;
  bool _pumpsAgain = false;
  std::shared_ptr<void> _timer;
};

}  // namespace streaming
