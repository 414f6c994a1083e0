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

/// Fetches the pieces of one track, one after another, from where its reader is, and puts them on
/// its shelf. It stops when enough is loaded, and goes on at pump(). Transfer thread only.
class TrackFeeder {
 public:
  TrackFeeder(FeederHost& host, MediaKind kind, std::shared_ptr<PieceShelf> shelf);

  /// Empty: nothing is fetched. Another track than before is fetched from the next seek on.
  void setTrack(const std::string& id);
  /// That of the next seek, if it will be another one.
  const std::string& track() const { return _nextTrack; }

  enum class State { Loading, Loaded, Failed };
  /// Loads what says which segments there are, in the representation to begin with.
  State load(double around);
  /// Something has changed: there may be room, or more is known, or the reader has moved.
  void pump();
  /// Cancels what is under way.
  void stop();

  /// The newest that was chosen; null: none yet.
  const std::shared_ptr<const Representation>& representation() const { return _representation; }
  PieceShelf& shelf() { return *_shelf; }
  const PieceShelf& shelf() const { return *_shelf; }
  std::optional<platform::Error> error() const;
  /// Everything up to the end of the track is loaded.
  bool isAtEnd() const { return _isTerminated; }

 private:
  /// The last long segment, once it has come to its end: its reader may want other parts of it.
  struct Kept {
    std::unique_ptr<PieceFetch> fetch;
    std::optional<PieceShelf::ID> piece;
  };
  /// What could not be had so far.
  struct Losses {
    std::optional<TrackWalk::Step> step;     // the segment that is tried
    unsigned attempts = 0;                   // at it
    unsigned delays = 0;                     // likewise
    std::optional<MonotonicTime> notBefore;  // it is tried again
    unsigned inARow = 0;
    bool hadAny = false;
    bool isKeyRefused = false;
    bool wasCutOff = false;  // the piece before
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
  std::optional<PieceShelf::ID> _tail;  // what is fetched follows it
  std::unique_ptr<PieceFetch> _fetch;
  std::optional<PieceShelf::ID> _fetched;  // its piece, once it was put on the shelf
  HintedPiece _hint;
  Kept _kept;
  Losses _losses;
  std::optional<platform::Error> _error;  // the newest
  bool _isTerminated = false;
  bool _isPumping = false;
  bool _pumpsAgain = false;
  std::shared_ptr<void> _timer;
};

}  // namespace streaming
