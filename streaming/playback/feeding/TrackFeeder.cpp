#include "streaming/playback/feeding/TrackFeeder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "streaming/manifest/ManifestErrors.h"
#include "streaming/playback/PlaybackErrors.h"

namespace streaming {
namespace {

/// Minimum and maximum number of pieces to buffer, regardless of duration and size.
constexpr std::size_t kMinPieces = 2;
constexpr std::size_t kMaxPiecesAhead = 500;
constexpr unsigned kMaxAttempts = 3;
constexpr unsigned kMaxConsecutiveLosses = 10;
/// Retries for the newest segment of a live presentation, which the server may publish late.
constexpr unsigned kMaxDelays = 2;
constexpr double kMaxDelay = 2;
/// Seconds to wait for the first segment of a live playlist.
constexpr double kMinWait = 4;
constexpr double kMaxWait = 12;

MonotonicTime::duration feederSeconds(double seconds) {
  return std::chrono::duration_cast<MonotonicTime::duration>(
      std::chrono::duration<double>(seconds));
}

}  // namespace

TrackFeeder::TrackFeeder(FeederHost& host, MediaKind kind, std::shared_ptr<TrackBuffer> buffer)
    : _host(host), _kind(kind), _buffer(std::move(buffer)), _finder(host, kind) {}

void TrackFeeder::setTrack(const std::string& id) {
  _nextTrack = id;
  if (id == _track) {
    _buffer->setAnswersSeeks(true);
    return;
  }
  if (id.empty()) {
    stop();
    _buffer->clear();
    _track.clear();
    return;
  }
  if (_track.empty()) {
    _track = id;
    _buffer->setAnswersSeeks(true);
    return;
  }
  // The reader continues with buffered pieces until it seeks.
  _buffer->setAnswersSeeks(false);
  _finder.load(id, _host.position());
}

TrackFeeder::State TrackFeeder::load(double around) {
  if (_nextTrack.empty()) return State::Loaded;
  const auto step = _finder.load(_nextTrack, around);
  if (step.kind == SegmentFinder::Step::Kind::NoRepresentation) return State::Failed;
  _representation = step.representation;
  return step.kind == SegmentFinder::Step::Kind::Wait ? State::Loading : State::Loaded;
}

std::optional<platform::Error> TrackFeeder::error() const {
  return _error ? _error : _finder.error();
}

void TrackFeeder::stop() {
  _timer.reset();
  _cancelFetch();
  _longSegment = {};
  _losses.notBefore.reset();
  _losses.step.reset();
  _from.reset();
  _tail.reset();
  _isTerminated = false;
}

void TrackFeeder::pump() {
  if (_track.empty() || !_host.presentation()) return;
  if (_longSegment.fetch && !_buffer->pieceOf(*_longSegment.piece)) _longSegment = {};
  _pumpsAgain = true;
  if (std::exchange(_isPumping, true)) return;
  while (std::exchange(_pumpsAgain, false))
    while (_step()) {
    }
  _isPumping = false;
}

void TrackFeeder::_takeSeek() {
  const auto seek = _buffer->takeSeek();
  if (!seek) return;
  if (_nextTrack != _track) {
    stop();
    _buffer->clear();
    _track = _nextTrack;
    _representation.reset();
    _losses.consecutive = 0;
    _losses.hasLoadedAny = false;
    _losses.hasLostAny = false;
  }
  // A running fetch may be for the new position. That is known after the next
  // SegmentFinder::next().
  _from = seek;
  _hint.cancel();
  _losses.notBefore.reset();
  _tail.reset();
  _losses.step.reset();
  _losses.consecutive = 0;
  if (std::exchange(_isTerminated, false)) {
    _buffer->clearTerminal();
    _losses.isKeyRefused = false;
    _finder.clearFailures(_track, *seek);
  }
}

/// The reader may have moved to another run of buffered pieces.
void TrackFeeder::_followReader() {
  const auto current = _buffer->readerPosition();
  if (!current) return;
  const auto tail = _buffer->lastOfRun(*current);
  if (tail == _tail) return;
  _from.reset();
  _tail = tail;
  _losses.step.reset();
  if (_isTerminated) {
    _buffer->clearTerminal();
    _isTerminated = false;
  }
  if (_fetch && _fetched != tail) _cancelFetch();
}

bool TrackFeeder::_step() {
  _takeSeek();
  _followReader();
  if (_isTerminated || (!_tail && !_from)) return false;
  const bool isElsewhere = _fetch && _from && !_tail;
  if (_fetch && !isElsewhere) return false;
  if (_losses.notBefore && _host.tools().source.now() < *_losses.notBefore) return false;
  _losses.notBefore.reset();
  _timer.reset();
  const auto tail = _tail ? _buffer->pieceOf(*_tail) : std::nullopt;
  SegmentFinder::Step step = _finder.next(_track, tail, _from.value_or(0));
  if (isElsewhere && !_isFetching(step)) _cancelFetch();
  if (_fetch && !_fetched) {
    // If the fetch fails, this segment is skipped.
    _losses.step = std::move(step);
    return false;
  }
  switch (step.kind) {
    case SegmentFinder::Step::Kind::Wait:
      if (tail) _fetchHint(step, *tail);
      if (!_losses.hasLoadedAny && _hasWaitTimedOut(step)) _terminate(TrackPiece::Kind::Failed);
      return false;
    case SegmentFinder::Step::Kind::End:
      // `consecutive` does not tell whether segments were lost: a seek resets it.
      _terminate(_losses.hasLoadedAny || !_losses.hasLostAny ? TrackPiece::Kind::End
                                                             : TrackPiece::Kind::Failed);
      return false;
    case SegmentFinder::Step::Kind::NoRepresentation:
      if (!_losses.step || _losses.isKeyRefused)
        _terminate(TrackPiece::Kind::Failed);
      else
        _skipSegment();
      return true;
    case SegmentFinder::Step::Kind::Segment:
      break;
  }
  if (_tail) {
    if (const auto joined = _buffer->join(*_tail, step.segment)) {
      _tail = _buffer->lastOfRun(*joined);
      return true;
    }
  } else if (const auto found = _buffer->find(step.segment)) {
    _from.reset();
    _tail = _buffer->lastOfRun(*found);
    _buffer->answerSeek(*found);
    if (_fetch && _fetched != _tail) _cancelFetch();
    return true;
  }
  if (step.availableFrom && *step.availableFrom > _host.clock().now()) {
    _waitUntil(*step.availableFrom);
    return false;
  }
  if (!_hasRoom(step)) return false;
  if (step.segment.isGap) {
    _addGap(step.segment, step.representation, step.isDiscontinuous);
    return true;
  }
  _fetchPiece(step);
  return true;
}

/// No segment was ever received, and the live playlist does not change.
bool TrackFeeder::_hasWaitTimedOut(const SegmentFinder::Step& step) {
  const auto playlist =
      step.representation ? _host.indexes().playlist(*step.representation) : nullptr;
  if (!playlist) return false;
  const double longest = std::clamp(3 * playlist->targetDuration, kMinWait, kMaxWait);
  const double rest = longest - _host.indexes().secondsUnchanged(*step.representation);
  if (rest > 0) {
    // The reload interval of the playlist may be much longer.
    if (playlist->isLive) _pumpIn(rest);
    return false;
  }
  if (!_error) _error = unusableManifest("The playlist has no playable segment.");
  return true;
}

/// The running fetch is for the segment that the seek needs.
bool TrackFeeder::_isFetching(const SegmentFinder::Step& step) const {
  return step.kind == SegmentFinder::Step::Kind::Segment &&
         std::abs(_fetch->segment().start - step.segment.start) < 1e-3;
}

bool TrackFeeder::_hasRoom(const SegmentFinder::Step& step) {
  const double bandwidth = step.representation->averageBandwidth > 0
                               ? step.representation->averageBandwidth
                               : step.representation->bandwidth;
  const double bytes = std::clamp(bandwidth * step.segment.duration / 8, 0.0,
                                  static_cast<double>(SegmentBytes::Limits{}.ahead));
  // Pieces may have zero duration.
  if (_buffer->countAhead() >= kMaxPiecesAhead) return false;
  const bool isNeeded = !_tail || _buffer->countFrom(_host.position()) < kMinPieces;
  if (!isNeeded && step.segment.start - _host.position() >= kMaxBufferSeconds) return false;
  const bool hasBytes = _host.makeRoom(static_cast<std::uint64_t>(bytes));
  return isNeeded || hasBytes;
}

void TrackFeeder::_waitUntil(platform::Date date) {
  _pumpIn(date.secondsSince1970 - _host.clock().now().secondsSince1970);
}

void TrackFeeder::_pumpIn(double seconds) {
  TransferSource& source = _host.tools().source;
  _timer = source.callAt(source.now() + feederSeconds(std::min(seconds, 86400.0)), [this] {
    const auto fired = std::move(_timer);
    pump();
  });
}

void TrackFeeder::_fetchPiece(const SegmentFinder::Step& step) {
  const bool isOther = !_representation || _representation->id != step.representation->id;
  _representation = step.representation;
  _losses.step = step;
  _fetched.reset();
  if (isOther) _host.representationChanged(_kind);
  SegmentFetch::Handlers handlers;
  handlers.began = [this](TrackPiece piece) { _began(std::move(piece)); };
  handlers.ended = [this](const std::optional<SegmentFetch::Failure>& failure) { _ended(failure); };
  if ((_fetch = _hint.take(step.segment, handlers))) return _hint.deliver();
  _fetch = _makeFetch(step.segment, step.representation, std::move(handlers));
  _fetch->start();
}

std::unique_ptr<SegmentFetch> TrackFeeder::_makeFetch(
    const Segment& segment, std::shared_ptr<const Representation> representation,
    SegmentFetch::Handlers handlers) {
  return std::make_unique<SegmentFetch>(
      _host.tools(), segment, std::move(representation),
      _kind == MediaKind::Text ? TransferKind::Text : TransferKind::Media, std::move(handlers));
}

/// Requests the preload hint of the awaited segment.
void TrackFeeder::_fetchHint(const SegmentFinder::Step& step, const TrackPiece& tail) {
  const auto index = step.representation ? _host.indexes().index(*step.representation) : nullptr;
  const auto segment = index ? index->preloadHintAfter(tail.segment) : std::nullopt;
  if (!segment || (_representation && _representation->id != step.representation->id)) return;
  _hint.request(*segment, [&](SegmentFetch::Handlers handlers) {
    return _makeFetch(*segment, step.representation, std::move(handlers));
  });
}

void TrackFeeder::_began(TrackPiece piece) {
  // A preload hint has estimated times.
  if (_losses.step) piece.segment = _losses.step->segment;
  piece.isDiscontinuous = (_losses.step && _losses.step->isDiscontinuous) || _losses.wasTruncated;
  _losses.wasTruncated = false;
  const TrackPiece copy = piece;
  _append(std::move(piece));
  _fetched = _tail;
  _host.pieceBegan(_kind, copy);
}

void TrackFeeder::_append(TrackPiece piece) {
  const auto id = _buffer->add(std::move(piece), _tail);
  if (!_tail) _buffer->answerSeek(id);
  _from.reset();
  _tail = id;
}

void TrackFeeder::_ended(const std::optional<SegmentFetch::Failure>& failure) {
  auto ended = std::move(_fetch);
  const auto piece = std::exchange(_fetched, std::nullopt);
  const bool wasOffered = piece.has_value();
  if (!failure) {
    if (ended->isLong() && piece) {
      _longSegment.fetch = std::move(ended);
      _longSegment.piece = piece;
    }
    _losses.hasLoadedAny = true;
    _losses.isKeyRefused = false;
    _losses.consecutive = 0;
    _losses.attempts = 0;
    _losses.delays = 0;
    _losses.step.reset();
    _finder.picker().clearExcluded();
    _host.pieceEnded(_kind);
    return pump();
  }
  _error = failure->error;
  if (!wasOffered && _retryLater(*failure)) return;
  _host.lost(failure->url, failure->error);
  _losses.hasLostAny = true;
  if (wasOffered) {
    // The received part is played.
    _losses.wasTruncated = true;
    _losses.step.reset();
    _losses.attempts = 0;
    if (++_losses.consecutive >= kMaxConsecutiveLosses) _terminate(TrackPiece::Kind::Failed);
    return pump();
  }
  _losses.isKeyRefused = _losses.isKeyRefused || failure->isKey;
  _finder.picker().exclude(*ended->representation());
  if (++_losses.attempts >= kMaxAttempts && !failure->isKey) _skipSegment();
  pump();
}

bool TrackFeeder::_retryLater(const SegmentFetch::Failure& failure) {
  const bool isMissing = failure.error.domain == platform::kURLErrorDomain &&
                         (failure.error.code == 404 || failure.error.code == 425);
  if (!isMissing || failure.isKey || _losses.delays >= kMaxDelays || !_losses.step) return false;
  const auto index = _host.indexes().index(*_losses.step->representation);
  if (!index || index->isComplete()) return false;
  const auto last = index->last(_host.clock().now());
  if (!last || last->number > _losses.step->segment.number) return false;
  ++_losses.delays;
  const double delay = std::min(kMaxDelay, std::max(0.2, _losses.step->segment.duration / 2));
  _losses.notBefore = _host.tools().source.now() + feederSeconds(delay);
  _pumpIn(delay);
  return true;
}

void TrackFeeder::_skipSegment() {
  const SegmentFinder::Step lost = *std::exchange(_losses.step, std::nullopt);
  _finder.picker().clearExcluded();
  _losses.attempts = 0;
  _losses.delays = 0;
  if (++_losses.consecutive >= kMaxConsecutiveLosses) return _terminate(TrackPiece::Kind::Failed);
  _addGap(lost.segment, lost.representation, lost.isDiscontinuous);
}

void TrackFeeder::_addGap(Segment segment, std::shared_ptr<const Representation> representation,
                          bool isDiscontinuous) {
  TrackPiece gap;
  gap.kind = TrackPiece::Kind::Gap;
  gap.segment = std::move(segment);
  gap.representation = std::move(representation);
  gap.isDiscontinuous = isDiscontinuous;
  _append(std::move(gap));
  _host.pieceEnded(_kind);
}

void TrackFeeder::_terminate(TrackPiece::Kind kind) {
  TrackPiece piece;
  piece.kind = kind;
  if (kind == TrackPiece::Kind::Failed) {
    piece.error = error();
    if (!piece.error) {
      piece.error = mediaError(platform::MediaErrorCode::DecoderNotFound,
                               "No representation of the track can be played.");
    }
  }
  _isTerminated = true;
  _losses.step.reset();
  _buffer->terminate(_tail, std::move(piece));
  _host.pieceEnded(_kind);
}

void TrackFeeder::_cancelFetch() {
  _hint.cancel();
  if (!_fetch) return;
  _fetch.reset();
  if (_fetched) _buffer->remove(*_fetched);
  _fetched.reset();
}

}  // namespace streaming
