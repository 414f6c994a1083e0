#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/media/MediaFacts.h"
#include "streaming/playback/TrackReader.h"

namespace streaming {

/// The pieces of one track that are in memory, in the order of time, and where its reader is. They
/// form runs: within a run each piece follows the one before it. The feeder of the track adds and
/// removes pieces on the transfer thread; the reader is on any other thread.
class PieceShelf final : public TrackReader {
 public:
  /// Pieces keep their identifier while they are held.
  using ID = std::uint64_t;

  /// `wake` is called, without a lock, when the reader has moved: there may be room now.
  explicit PieceShelf(std::function<void()> wake) : _wake(std::move(wake)) {}

  std::optional<TrackPiece> next(const ReadGate& gate) override;
  void seek(double seconds) override;
  /// The same as next() without the wait: none when the next piece is not there yet.
  std::optional<TrackPiece> take();
  /// The next segment, or gap, once all of its bytes are there or it has failed. `isFirst`: it is
  /// the first one after a seek. Nobody is woken.
  std::optional<TrackPiece> takeWhole(bool& isFirst);

  // For the feeder:

  /// A seek that no held piece has answered. It is told once.
  std::optional<double> takeSeek();
  /// The piece at which the reader is; none while a seek is not answered.
  std::optional<ID> readerPlace() const;
  /// The answer to it: the reader goes on with this piece. Without effect after another seek.
  void answerSeek(ID first);
  /// `after`: the piece that it follows; none begins a run.
  ID add(TrackPiece piece, std::optional<ID> after);
  /// The held piece that is `segment`, which follows `after`: joins their runs.
  std::optional<ID> join(ID after, const Segment& segment);
  /// The held piece that begins where `segment` does.
  std::optional<ID> find(const Segment& segment) const;
  ID lastOfRun(ID piece) const;
  std::optional<TrackPiece> pieceOf(ID piece) const;
  /// Forgets what follows the piece that the reader takes next.
  void dropUnread();
  /// Forgets a piece that has not come whole.
  void remove(ID piece);
  /// Ends the run of `after`, or the track when there are no pieces: a piece of kind End or Failed.
  void terminate(std::optional<ID> after, TrackPiece piece);
  void unterminate();
  /// Forgets all pieces. The reader waits until the next seek is answered.
  void clear();
  /// The next seek is answered by new pieces alone: the track is another one. Until clear(), or
  /// until it is trusted again.
  void setTrusted(bool isTrusted);

  std::uint64_t bytes() const;
  /// Pieces of the reader's run that it has not taken yet.
  std::size_t countAhead() const;
  /// Pieces that are not over at `position`.
  std::size_t countFrom(double position) const;
  /// Removes pieces that the reader is past, or not going to, until at most `bytes` are left: those
  /// that are farthest from `position` first.
  void trim(std::uint64_t bytes, double position);
  /// What is there whole.
  std::vector<platform::TimeRange> loaded() const;
  bool hasTerminal() const;

 private:
  struct Held {
    ID id;
    TrackPiece piece;
    bool follows;  // the one before it in the list
    double start() const { return piece.segment.start; }
    double end() const { return piece.segment.end(); }
  };
  using List = std::list<Held>;

  void _limitCount();
  const TrackPiece* _upcoming() const;
  std::optional<TrackPiece> _advance();
  List::const_iterator _place(ID id) const;
  List::const_iterator _upcomingPlace() const;

  const std::function<void()> _wake;
  mutable std::mutex _mutex;  // guards the rest
  std::condition_variable _changed;
  List _held;
  ID _count = 0;
  double _sought = 0;           // the newest seek
  std::optional<double> _seek;  // the same, for the feeder
  bool _isSeeking = true;       // the reader has no place yet
  std::optional<ID> _first;     // the reader begins with it
  std::optional<ID> _last;      // the reader has taken it last
  bool _isTrusted = true;
  std::optional<TrackPiece> _terminal;
  std::optional<ID> _terminalAfter;
};

}  // namespace streaming
