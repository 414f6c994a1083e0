#include "platform/ui/VideoPlayerViewController.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/services/Platform.h"
#include "platform/ui/ActivityIndicatorView.h"
#include "platform/ui/Label.h"
#include "platform/ui/TransportBarView.h"
#include "platform/ui/VideoView.h"

namespace platform {

namespace {

constexpr Duration kBarFade = std::chrono::milliseconds(300);
constexpr Duration kBarStays = std::chrono::seconds(5);
constexpr Duration kSpinnerDelay = std::chrono::milliseconds(400);
constexpr double kSkipSeconds = 10;

std::string plainFailureText(const Error& error) {
  return error.localizedDescription.value_or("This video can't be played.");
}

TransportState transportState(const TVSPlayer& player) {
  switch (player.state()) {
    case TVSPlaybackState::Loading:
      return TransportState::Loading;
    case TVSPlaybackState::Playing:
      return TransportState::Playing;
    case TVSPlaybackState::Paused:
      return TransportState::Paused;
    case TVSPlaybackState::Stopped:
      return TransportState::Stopped;
    case TVSPlaybackState::Scanning:
      return player.rate() < 0 ? TransportState::ScanningBackward : TransportState::ScanningForward;
  }
  return TransportState::Stopped;
}

bool isReady(const TVSPlayer& player) {
  const PlayerItem* const item = player.currentPlayerItem();
  return item && item->status() == PlayerItemStatus::ReadyToPlay;
}

TransportBarElement barElement(const TVSPlayer& player) {
  TransportBarElement bar;
  bar.state = transportState(player);
  const auto item = player.currentMediaItem();
  const Value title = item ? item->metadata(kMediaItemTitle) : Value();
  if (title.asString()) bar.title = *title.asString();
  if (player.state() == TVSPlaybackState::Scanning) bar.rate = player.rate();
  bar.elapsed = player.elapsedTime();
  const double duration = player.duration();
  if (std::isfinite(duration) && duration > 0) {
    bar.duration = duration;
    for (const TimeRange& range : player.cachedLoadedTimeRanges()) {
      const double start = std::clamp(range.start / duration, 0.0, 1.0);
      const double end = std::clamp((range.start + range.duration) / duration, 0.0, 1.0);
      if (start < end) bar.loaded.emplace_back(start, end);
    }
  } else {
    bar.live = isReady(player);
  }
  return bar;
}

}  // namespace

VideoPlayerViewController::VideoPlayerViewController(std::shared_ptr<TVSPlayer> player,
                                                     bool invalidatesPlayerWhenDone)
    : _player(std::move(player)),
      _invalidatesPlayer(invalidatesPlayerWhenDone),
      _failureText(plainFailureText) {
  TVS_ASSERT(_player != nullptr);
}

VideoPlayerViewController::~VideoPlayerViewController() = default;

void VideoPlayerViewController::setFailureText(std::function<std::string(const Error&)> text) {
  _failureText = text ? std::move(text) : plainFailureText;
  if (isViewLoaded()) _updateFailure();
}

bool VideoPlayerViewController::isTransportBarVisible() const { return _barVisible; }

void VideoPlayerViewController::dismiss() {
  if (!parent()) return;
  const auto self = shared_from_this();
  willMoveToParent(nullptr);
  view()->removeFromSuperview();
  removeFromParent();
}

std::shared_ptr<View> VideoPlayerViewController::preferredFocusedView() { return view(); }

std::shared_ptr<View> VideoPlayerViewController::loadView() {
  _video = std::make_shared<VideoView>(kScreenBounds);
  _spinner = std::make_shared<ActivityIndicatorView>(ActivityIndicatorView::kLargeStyle);
  _spinner->centerIn(_video->bounds());
  const double side = kScreenWidth * kSafeAreaFraction;
  _failure = std::make_shared<Label>(
      Rect{side, kScreenHeight * 0.4, kScreenWidth - 2 * side, kScreenHeight * 0.2});
  _failure->setTextStyle(TextStyle::Headline);
  _failure->setTextAlignment(TextAlignment::Center);
  _bar = std::make_shared<TransportBarView>();
  _bar->setAlpha(0);
  _bar->setHidden(true);
  _video->addSubview(_spinner);
  _video->addSubview(_failure);
  _video->addSubview(_bar);
  return _video;
}

void VideoPlayerViewController::viewDidLoad() {
  auto& center = Platform::current().notificationCenter();
  const auto observe = [&](std::string_view name, void (VideoPlayerViewController::*operation)()) {
    _observers.push_back(
        center.addObserver(name, _player.get(), [this, operation](const Notification&) {
          const auto self = shared_from_this();  // what this leads to may take the controller away
          (this->*operation)();
        }));
  };
  observe(TVSPlaybackStateDidChangeNotification, &VideoPlayerViewController::_playerStateDidChange);
  observe(TVSPlaybackCurrentMediaItemDidChangeNotification,
          &VideoPlayerViewController::_playerItemDidChange);
  observe(TVSPlaybackTimeDidJumpNotification, &VideoPlayerViewController::_showTransportBar);
  _playerStateDidChange();
}

void VideoPlayerViewController::didMoveToParent(ViewController* parent) {
  ViewController::didMoveToParent(parent);
  if (parent) return;
  _observers.clear();
  _elapsedObserver.reset();
  _hideTimer.reset();
  _spinnerTimer.reset();
  if (_invalidatesPlayer) _player->invalidate();
}

// Input.

bool VideoPlayerViewController::handleInput(const InputEvent& event) {
  const auto self = shared_from_this();
  if (const auto* press = std::get_if<PressType>(&event.what)) {
    switch (*press) {
      case PressType::Menu:
        if (!event.repeated) dismiss();
        return true;
      case PressType::Select:
      case PressType::PlayPause:
        if (!event.repeated) _togglePlayback();
        break;
      case PressType::Left:
        _skip(-kSkipSeconds);
        break;
      case PressType::Right:
        _skip(kSkipSeconds);
        break;
      case PressType::Up:
      case PressType::Down:
      case PressType::Home:
        break;
    }
  }
  _showTransportBar();
  return true;
}

void VideoPlayerViewController::_togglePlayback() {
  switch (_player->state()) {
    case TVSPlaybackState::Loading:
      // The state does not tell what comes after it, so the presses are counted.
      _pausesOnceLoaded = !_pausesOnceLoaded;
      if (_pausesOnceLoaded) {
        _player->pause();
      } else {
        _player->play();
      }
      break;
    case TVSPlaybackState::Playing:
      _player->pause();
      break;
    case TVSPlaybackState::Paused:
    case TVSPlaybackState::Stopped:
      _player->play();
      break;
    case TVSPlaybackState::Scanning:
      _player->scanAtRate(1);
      break;
  }
}

void VideoPlayerViewController::_skip(double seconds) {
  if (!isReady(*_player)) return;
  double target = std::max(0.0, _player->elapsedTime() + seconds);
  const double duration = _player->duration();
  if (duration > 0) target = std::min(target, duration);
  _player->setElapsedTime(target);
}

// What the player tells.

void VideoPlayerViewController::_playerStateDidChange() {
  if (_player->state() != TVSPlaybackState::Loading) _pausesOnceLoaded = false;
  // A new load may bring a new output.
  _video->setOutput(_player->videoOutput());
  _updateSpinner();
  _updateFailure();
  _showTransportBar();
}

void VideoPlayerViewController::_playerItemDidChange() {
  _video->setOutput(_player->videoOutput());
  _updateFailure();
  _updateTransportBar();
}

void VideoPlayerViewController::_updateSpinner() {
  if (_player->state() != TVSPlaybackState::Loading) {
    _spinnerTimer.reset();
    _spinner->stopAnimating();
  } else if (!_spinnerTimer) {
    // What loads quickly shows no spinner at all.
    _spinnerTimer = Platform::current().mainQueue().after(kSpinnerDelay,
                                                          [this] { _spinner->startAnimating(); });
  }
}

void VideoPlayerViewController::_updateFailure() {
  const PlayerItem* const item = _player->currentPlayerItem();
  const bool failed = _player->state() == TVSPlaybackState::Stopped && item &&
                      item->status() == PlayerItemStatus::Failed;
  _failure->setText(failed ? _failureText(item->error().value_or(Error{})) : std::string());
}

// The transport bar.

void VideoPlayerViewController::_showTransportBar() {
  // Presses may still arrive while the view fades out after the controller has left its parent.
  if (_observers.empty()) return;
  if (!_barVisible) {
    _barVisible = true;
    _bar->setHidden(false);
    _bar->animateAlpha(1, kBarFade);
    _elapsedObserver = _player->addElapsedTimeObserver(
        [this](double, const std::optional<Date>&, double, bool) { _updateTransportBar(); });
  }
  _updateTransportBar();
  _hideTransportBarLater();
}

void VideoPlayerViewController::_hideTransportBarLater() {
  _hideTimer.reset();
  if (_player->state() != TVSPlaybackState::Playing) return;
  _hideTimer = Platform::current().mainQueue().after(kBarStays, [this] {
    _barVisible = false;
    // Nothing may wake the process for a bar that nobody sees.
    _elapsedObserver.reset();
    _bar->animateAlpha(0, kBarFade);
  });
}

void VideoPlayerViewController::_updateTransportBar() {
  if (_barVisible) _bar->setElement(barElement(*_player));
}

}  // namespace platform
