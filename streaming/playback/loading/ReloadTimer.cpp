#include "streaming/playback/loading/ReloadTimer.h"

#include <algorithm>
#include <cmath>

namespace streaming {
namespace {

constexpr double kMinInterval = 0.2;
constexpr double kMaxInterval = 24.0 * 3600;
/// Reloads are given up after this many intervals without success, but not before kGiveUpSeconds.
constexpr double kGiveUpIntervals = 5;
constexpr double kGiveUpSeconds = 20;

MonotonicTime::duration reloadSeconds(double seconds) {
  return std::chrono::duration_cast<MonotonicTime::duration>(
      std::chrono::duration<double>(seconds));
}

double intervalOf(const ReloadRule& rule) {
  if (!(rule.interval > kMinInterval)) return kMinInterval;
  return std::min(rule.interval, kMaxInterval);
}

}  // namespace

void ReloadTimer::requestReload() {
  _isWanted = true;
  _schedule();
}

void ReloadTimer::requested() {
  _isWanted = false;
  _isRequesting = true;
  _requestedAt = _source.now();
  _timer.reset();
}

void ReloadTimer::loaded(const std::optional<ReloadRule>& rule, bool isChanged) {
  _isRequesting = false;
  _loadedAt = _source.now();
  _rule = rule;
  _isChanged = isChanged;
  _failures = 0;
  _failingSince.reset();
  _schedule();
}

void ReloadTimer::failed() {
  _isRequesting = false;
  ++_failures;
  if (!_failingSince) _failingSince = _requestedAt;
  _isWanted = true;
  _schedule();
}

bool ReloadTimer::hasGivenUp() const {
  if (!_failingSince) return false;
  const double seconds = std::chrono::duration<double>(_source.now() - *_failingSince).count();
  const double interval = _rule ? std::min(intervalOf(*_rule), kGiveUpSeconds) : 0;
  return seconds >= std::max(kGiveUpSeconds, kGiveUpIntervals * interval);
}

bool ReloadTimer::isDue() const {
  if (!_rule || _isRequesting) return false;
  // A blocking reload may follow at once, but a version that was just loaded is not outdated.
  const bool blocks = _rule->awaitedNumber && _failures == 0;
  return _source.now() >= (blocks ? _loadedAt + reloadSeconds(intervalOf(*_rule)) : _dueAt());
}

MonotonicTime ReloadTimer::_dueAt() const {
  const double interval = intervalOf(*_rule);
  if (_failures > 0) {
    const double wait = std::min(interval, kMinInterval * std::exp2(std::min(_failures, 8u)));
    return _requestedAt + reloadSeconds(std::max(wait, 1.0));
  }
  if (!_isChanged) return _requestedAt + reloadSeconds(std::max(interval / 2, kMinInterval));
  // Blocking reload: the server delays the response.
  if (_rule->awaitedNumber) return _requestedAt;
  return _requestedAt + reloadSeconds(interval);
}

void ReloadTimer::_schedule() {
  if (!_isWanted || _isRequesting || !_rule || _timer) return;
  _timer = _source.callAt(_dueAt(), [this] {
    const auto fired = std::move(_timer);
    _due();
  });
}

}  // namespace streaming
