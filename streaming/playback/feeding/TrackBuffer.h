#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/media/TimeRange.h"
#include "streaming/playback/TrackReader.h"

namespace streaming {

/// The buffered pieces of one track, sorted by time, and the position of its reader. Consecutive
/// pieces form runs. The feeder adds and removes pieces on the transfer thread; the reader runs on
/// another thread.
class TrackBuffer final : public TrackReader {
 public:
  /// Identifies a piece while it is buffered.
  using ID = std::uint64_t;

  /// `wake` is called without a lock when the reader has moved.
  explicit TrackBuffer(std::function<void()> wake) : _wake(std::move(wake)) {}

  std::optional<TrackPiece> next(const ReadGate& gate) override;
  void seek(double seconds) override;
  /// Like next(), but returns nullopt instead of waiting.
  std::optional<TrackPiece> take();
  /// Returns the next piece if it is a gap, complete, or failed. `isFirst`: it is the first one
  /// after a seek. Does not call `wake`.
  std::optional<TrackPiece> takeComplete(bool& isFirst);

  // For the feeder:

  /// Takes a seek that buffered pieces cannot answer.
  std::optional<double> takeSeek();
  /// The piece at the reader. nullopt while a seek is pending.
  std::optional<ID> readerPosition() const;
  /// Answers a seek: the reader continues with `first`. Has no effect if another seek is pending.
  void answerSeek(ID first);
  /// `after`: the previous piece of the run; nullopt starts a run.
  ID add(TrackPiece piece, std::optional<ID> after);
  /// If the next buffered piece contains `segment`, joins its run to that of `after`.
  std::optional<ID> join(ID after, const Segment& segment);
  /// The buffered piece that contains `segment`.
  std::optional<ID> find(const Segment& segment) const;
  ID lastOfRun(ID piece) const;
  std::optional<TrackPiece> pieceOf(ID piece) const;
  /// Removes the pieces after the one the reader takes next.
  void dropUnread();
  /// Removes an incomplete piece.
  void remove(ID piece);
  /// Ends the run of `after`, or the track if it has no pieces, with a piece of kind End or Failed.
  void terminate(std::optional<ID> after, TrackPiece piece);
  void clearTerminal();
  /// Removes all pieces. The reader waits until the next seek is answered.
  void clear();
  /// False: buffered pieces do not answer seeks, because the track has changed. Reset by clear().
  void setAnswersSeeks(bool answersSeeks);

  std::uint64_t bytes() const;
  /// Pieces of the reader's run that it has not taken.
  std::size_t countAhead() const;
  /// Pieces that end after `position`.
  std::size_t countFrom(double position) const;
  /// Removes pieces that the reader does not need until at most `bytes` are left, those farthest
  /// from `position` first.
  void trim(std::uint64_t bytes, double position);
  /// The time ranges of complete pieces.
  std::vector<platform::TimeRange> loaded() const;
  bool hasTerminal() const;

 private:
  struct Entry {
    ID id;
    TrackPiece piece;
    bool follows;  // the previous piece in the list
    double start() const { return piece.segment.start; }
    double end() const { return piece.segment.end(); }
  };
  using List = std::list<Entry>;

  void _limitCount();
  const TrackPiece* _nextPiece() const;
  std::optional<TrackPiece> _advance();
  List::const_iterator _entry(ID id) const;
  List::const_iterator _nextEntry() const;

  const std::function<void()> _wake;
  mutable std::mutex _mutex;  // guards the members below
  std::condition_variable _changed;
  List _pieces;
  ID _count = 0;
  double _seekPosition = 0;     // position of the last seek
  std::optional<double> _seek;  // the same, until the feeder takes it
  bool _isSeeking = true;       // the reader has no position
  std::optional<ID> _first;     // the piece the reader starts with
  std::optional<ID> _last;      // the piece the reader took last
  bool _answersSeeks = true;
  std::optional<TrackPiece> _terminal;
  std::optional<ID> _terminalAfter;
};

}  // namespace streaming
