#include "platform/ui/player/PlayerRemote.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/services/Platform.h"

namespace platform {

namespace {

constexpr Duration kSeekDelay = std::chrono::milliseconds(300);
constexpr Duration kHoldDelay = std::chrono::milliseconds(400);
constexpr Duration kSpeedUpInterval = std::chrono::seconds(2);
constexpr double kSlowestScan = 2;
constexpr double kFastestScan = 16;
/// A skip forward stops this many seconds before the end, so that it does not end the item.
constexpr double kEndMargin = 2;
/// A live stream normally plays some segments behind the live edge. In seconds.
constexpr double kLiveEdgeTolerance = 20;

const PlayerItem* readyItem(const TVSPlayer& player) {
  const PlayerItem* const item = player.currentPlayerItem();
  return item && item->status() == PlayerItemStatus::ReadyToPlay ? item : nullptr;
}

struct SeekRange {
  double start = 0;
  double end = 0;
};

/// The seekable range; std::nullopt if seeks are impossible.
std::optional<SeekRange> seekRangeOf(const TVSPlayer& player) {
  const auto& ranges = player.cachedSeekableTimeRanges();
  if (!readyItem(player) || ranges.empty()) return std::nullopt;
  return SeekRange{ranges.front().start, ranges.back().start + ranges.back().duration};
}

}  // namespace

PlayerRemote::PlayerRemote(std::shared_ptr<TVSPlayer> player, std::function<void()> didChange)
    : _player(std::move(player)), _didChange(std::move(didChange)) {}

TimePoint PlayerRemote::_now() const { return Platform::current().clock().now(); }

void PlayerRemote::toggle() {
  if (finishSeeking()) return;
  switch (_player->state()) {
    case TVSPlaybackState::Loading:
      // The state is Loading for either target, so it is tracked here.
      _pauseWhenLoaded = !_pauseWhenLoaded;
      if (_pauseWhenLoaded) {
        _player->pause();
      } else {
        _player->play();
      }
      break;
    case TVSPlaybackState::Playing:
    case TVSPlaybackState::Scanning:
      _player->pause();
      break;
    case TVSPlaybackState::Paused:
    case TVSPlaybackState::Stopped:
      _player->play();
      break;
  }
}

void PlayerRemote::playerStateDidChange() {
  if (_player->state() != TVSPlaybackState::Loading) _pauseWhenLoaded = false;
  if (_player->state() == TVSPlaybackState::Stopped) reset();
}

void PlayerRemote::press(int direction) {
  if (!seekRangeOf(*_player)) return;
  _hold = Hold{direction, _now()};
  if (const auto rate = _player->scanRate()) {
    _scan(*rate * direction > 0 ? *rate * 2 : direction * kSlowestScan);
  } else {
    _skip(direction);
  }
}

void PlayerRemote::repeat(int direction) {
  if (!_hold || _hold->direction != direction || !seekRangeOf(*_player)) return;
  const auto held = _now() - _hold->since;
  const auto rate = _player->scanRate();
  if (held < (rate ? kSpeedUpInterval : kHoldDelay)) return;
  _hold->since = _now();
  if (!rate) {
    _seekTarget();
    _run.end();
    _runTimer.reset();
  }
  _scan(rate ? *rate * 2 : direction * kSlowestScan);
}

void PlayerRemote::_scan(double rate) {
  const double wanted = std::clamp(rate, -kFastestScan, kFastestScan);
  if (_player->scanRate() != wanted) _player->scanAtRate(wanted);
}

void PlayerRemote::_skip(int direction) {
  const bool follows = _run.isActive(_now());
  const double from = time();
  if (!_run.continues(direction, _now())) _skipped = 0;
  const double step = _run.press(direction, _now());
  const auto range = *seekRangeOf(*_player);
  const double last = readyItem(*_player)->isLive() ? range.end : range.end - kEndMargin;
  _target = std::clamp(from + step, range.start, std::max({from, last, range.start}));
  _skipped += *_target - from;
  _runTimer = Platform::current().mainQueue().after(SkipRun::kGap, [this] {
    _run.end();
    _didChange();
  });
  if (!follows) {
    _seekTarget();
  } else {
    _seekTimer = Platform::current().mainQueue().after(kSeekDelay, [this] {
      _seekTarget();
      _didChange();
    });
  }
}

void PlayerRemote::_seekTarget() {
  _seekTimer.reset();
  if (const auto target = std::exchange(_target, std::nullopt)) _player->setElapsedTime(*target);
}

bool PlayerRemote::finishSeeking() {
  _seekTarget();
  _run.end();
  _runTimer.reset();
  _hold.reset();
  if (!_player->scanRate()) return false;
  _player->scanAtRate(1);
  return true;
}

void PlayerRemote::reset() {
  _target.reset();
  _seekTimer.reset();
  _run.end();
  _runTimer.reset();
  _hold.reset();
  _pauseWhenLoaded = false;
}

bool PlayerRemote::isBehindLiveEdge() const {
  const PlayerItem* const item = readyItem(*_player);
  if (!item || !item->isLive()) return false;
  const auto range = seekRangeOf(*_player);
  return range && range->end - time() > kLiveEdgeTolerance;
}

void PlayerRemote::goToLiveEdge() {
  const auto range = seekRangeOf(*_player);
  if (!range) return;
  reset();
  _player->setElapsedTime(range->end);
  if (_player->state() == TVSPlaybackState::Paused) _player->play();
}

bool PlayerRemote::isSeeking() const {
  return _target || _run.isActive(_now()) || _player->scanRate().has_value();
}

double PlayerRemote::skipped() const { return _run.isActive(_now()) ? _skipped : 0; }

double PlayerRemote::time() const { return _target.value_or(_player->elapsedTime()); }

}  // namespace platform
