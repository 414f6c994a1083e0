#include "platform/media/TVSPlayer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/media/ErrorLog.h"
#include "platform/services/Platform.h"

namespace {
constexpr double kRateLimit = 64;
}  // namespace

TVSPlayer::TVSPlayer(std::string name)
    : _platform(platform::Platform::current()),
      _name(std::move(name)),
      _engine(_platform.makeMediaEngine()) {
  _engine->setObserver(this);
}

TVSPlayer::~TVSPlayer() {
  if (_engine) _engine->setObserver(nullptr);
}

std::shared_ptr<TVSMediaItem> TVSPlayer::currentMediaItem() const {
  // While the playlist changes its current item, the loaded item is still the old one.
  if (_item) return _item->mediaItem();
  return _items.playlist ? _items.playlist->currentItem() : nullptr;
}

void TVSPlayer::play() {
  if (!_engine) return;
  const auto self = shared_from_this();
  if (const auto delegate = _delegate.lock()) {
    if (!delegate->playerShouldPlay(*this, elapsedTime()) || !_engine) return;
  }
  _target = {true, std::nullopt};
  if (_isLoaded()) {
    _playAtTargetRate();
    if (_phase == Phase::Loading) _notifyRemotes();
  } else {
    _restart();
  }
}

void TVSPlayer::pause() {
  if (!_engine) return;
  const auto self = shared_from_this();
  if (const auto delegate = _delegate.lock()) {
    if (!delegate->playerShouldPause(*this) || !_engine) return;
  }
  _target = {false, std::nullopt};
  if (!_isLoaded()) return;
  _engine->pause();
  if (_phase == Phase::Loading) _notifyRemotes();
  // At the end the engine does not report a pause.
  if (_phase == Phase::Ended) _updateState();
}

void TVSPlayer::scanAtRate(double rate) {
  if (!_isLoaded() || !std::isfinite(rate)) return;
  const auto self = shared_from_this();
  if (const auto delegate = _delegate.lock()) {
    if (!delegate->playerShouldScanAtRate(*this, rate) || !_isLoaded()) return;
  }
  _target.playing = true;
  _target.scanRate = rate == 0 || rate == 1 ? std::nullopt : std::optional(rate);
  _playAtTargetRate();
}

void TVSPlayer::changeMediaInDirection(TVSMediaDirection direction) {
  if (!_engine || !_items.playlist) return;
  const auto self = shared_from_this();
  // The delegate is also called after the end of the playlist.
  if (const auto delegate = _delegate.lock()) {
    const bool should =
        delegate->playerShouldChangeMediaInDirection(*this, static_cast<int>(direction));
    if (!should) return;
  }
  if (!_isLoaded()) return;
  const bool next = direction == TVSMediaDirection::Next;
  if (next ? _items.playlist->nextItem() == nullptr
           : _items.playlist->currentIndex().value_or(0) == 0)
    return;
  _changeItem([&] { return next ? _items.playlist->advance() : _items.playlist->retreat(); });
}

void TVSPlayer::stop() {
  if (!_engine) return;
  ++_serials.epoch;
  if (!_isLoaded()) return;
  const auto self = shared_from_this();
  _stopWithItem(nullptr);
}

void TVSPlayer::invalidate() {
  if (!_engine) return;
  const auto self = shared_from_this();
  stop();
  if (!_engine) return;
  _items.observer.reset();
  // Observers of the stop may have started a new load, which is ended without an announcement.
  _unload();
  _state = TVSPlaybackState::Stopped;
  _item.reset();
  _updateElapsedTimer();
  _releaseEngine();
  _updateRemoteCommands();
}

void TVSPlayer::_playAtTargetRate() { _engine->play(_target.scanRate.value_or(_settings.rate)); }

void TVSPlayer::_releaseEngine() {
  _engine->setObserver(nullptr);
  auto engine = std::exchange(_engine, nullptr);
  // An engine must not be destroyed inside one of its callbacks.
  if (_serials.engineEventDepth > 0)
    _platform.mainQueue().async([retired = std::shared_ptr(std::move(engine))] {});
}

bool TVSPlayer::_delegateAllowsSeek(double seconds, const std::optional<platform::Date>& date) {
  const auto delegate = _delegate.lock();
  return !delegate || (delegate->playerShouldSeekToTime(*this, seconds, date) && _engine);
}

double TVSPlayer::elapsedTime() const {
  if (_isReady()) return _engine->position();
  return _start.seconds.value_or(0);
}

void TVSPlayer::setElapsedTime(double seconds) {
  if (!_engine || !std::isfinite(seconds)) return;
  const auto self = shared_from_this();
  if (!_delegateAllowsSeek(seconds, std::nullopt)) return;
  if (!_isReady()) _start = {.seconds = seconds, .fraction = {}, .date = {}};
  if (!_isLoaded()) return;
  _engine->seek(seconds);
  if (_phase == Phase::Ended && _target.playing) _playAtTargetRate();
}

void TVSPlayer::setStartPosition(double fraction) {
  if (!_engine || !std::isfinite(fraction) || _isReady()) return;
  _start = {.seconds = {}, .fraction = std::clamp(fraction, 0.0, 1.0), .date = {}};
  // The engine cannot seek to a fraction before it knows the duration, so it loads again.
  if (_isLoaded()) _load();
}

double TVSPlayer::duration() const {
  return _isReady() ? _engine->facts().duration : TVSDurationIndefinite;
}

std::optional<platform::Date> TVSPlayer::playbackDate() const {
  return _isReady() ? _engine->facts().playbackDate : _start.date;
}

void TVSPlayer::setPlaybackDate(platform::Date date) {
  if (!_engine || !std::isfinite(date.secondsSince1970)) return;
  const auto self = shared_from_this();
  if (!_delegateAllowsSeek(elapsedTime(), date)) return;
  if (!_isReady()) _start.date = date;
  if (!_isLoaded()) return;
  _engine->seekToDate(date);
  if (_phase == Phase::Ended && _target.playing) _playAtTargetRate();
}

double TVSPlayer::rate() const { return _phase == Phase::Playing ? _engineRate : 0; }

void TVSPlayer::setRateUsedForPlayback(double rate) {
  if (!std::isfinite(rate) || rate == 0) return;
  _settings.rate = std::clamp(rate, -kRateLimit, kRateLimit);
  if (_isLoaded() && _phase != Phase::Ended && _target.playing && !_target.scanRate)
    _playAtTargetRate();
}

void TVSPlayer::setMuted(bool muted) {
  _settings.muted = muted;
  if (_isLoaded()) _engine->setMuted(muted);
}

void TVSPlayer::setVolume(float volume) {
  if (!std::isfinite(volume)) return;
  _settings.volume = std::clamp(volume, 0.0F, 1.0F);
  if (_isLoaded()) _engine->setVolume(_settings.volume);
  _notifyRemotes();
}

const std::vector<platform::TimeRange>& TVSPlayer::cachedSeekableTimeRanges() const {
  static const std::vector<platform::TimeRange> none;
  return _isReady() ? _engine->facts().seekable : none;
}

const std::vector<platform::TimeRange>& TVSPlayer::cachedLoadedTimeRanges() const {
  static const std::vector<platform::TimeRange> none;
  return _isReady() ? _engine->facts().loaded : none;
}

std::optional<int> TVSPlayer::bufferingPercent() const {
  return _isLoaded() ? _engine->facts().bufferingPercent : std::nullopt;
}

std::optional<platform::Array> TVSPlayer::accessLog() const {
  auto log = _engine ? _engine->accessLog() : platform::Array();
  return log.empty() ? std::nullopt : std::optional(std::move(log));
}

std::optional<platform::Array> TVSPlayer::errorLog() const {
  platform::Array log = _errorLog;
  for (const platform::FailedRequest& each : _newFailedRequests()) appendToErrorLog(log, each);
  return log.empty() ? std::nullopt : std::optional(std::move(log));
}

void TVSPlayer::setMediaItemEndAction(TVSMediaItemEndAction action) {
  _settings.endAction = action;
  _updatePreparation();
}

std::shared_ptr<platform::VideoOutput> TVSPlayer::videoOutput() const {
  return _engine ? _engine->videoOutput() : nullptr;
}
