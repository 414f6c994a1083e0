#include "platform/ui/player/VideoPlayerViewController.h"

#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/services/Platform.h"
#include "platform/ui/player/OptionPanelController.h"
#include "platform/ui/player/TransportBarModel.h"
#include "platform/ui/views/ActivityIndicatorView.h"
#include "platform/ui/views/MessageView.h"
#include "platform/ui/views/TransportBarView.h"
#include "platform/ui/views/VideoView.h"

namespace platform {

namespace {

constexpr Duration kBarFade = std::chrono::milliseconds(300);
constexpr Duration kBarStays = std::chrono::seconds(5);
constexpr Duration kSpinnerDelay = std::chrono::milliseconds(400);
/// Of an item that loads for the first time, which mostly plays long before its buffer is full.
constexpr Duration kPercentDelay = std::chrono::seconds(2);
/// A session that is over takes the screen away meanwhile.
constexpr Duration kEndedDelay = std::chrono::seconds(1);

}  // namespace

VideoPlayerViewController::VideoPlayerViewController(std::shared_ptr<TVSPlayer> player,
                                                     bool invalidatesPlayerWhenDone)
    : _player(std::move(player)),
      _invalidatesPlayer(invalidatesPlayerWhenDone),
      _remote(_player, [this] { _showTransportBar(); }) {
  TVS_ASSERT(_player != nullptr);
}

VideoPlayerViewController::~VideoPlayerViewController() = default;

bool VideoPlayerViewController::isOptionPanelOpen() const { return _panel && _panel->isOpen(); }

void VideoPlayerViewController::setTexts(const PlayerTexts& texts) {
  _texts = texts;
  if (!isViewLoaded()) return;
  _panel->setTexts(texts);
  _updateMessage();
  _updateTransportBar();
}

void VideoPlayerViewController::dismiss() {
  if (!parent()) return;
  const auto self = shared_from_this();
  willMoveToParent(nullptr);
  view()->removeFromSuperview();
  removeFromParent();
}

std::shared_ptr<View> VideoPlayerViewController::preferredFocusedView() {
  return isOptionPanelOpen() ? _panel->view() : view();
}

std::shared_ptr<View> VideoPlayerViewController::loadView() {
  _video = std::make_shared<VideoView>(kScreenBounds);
  _spinner = std::make_shared<ActivityIndicatorView>(ActivityIndicatorView::kLargeStyle);
  _spinner->centerIn(_video->bounds());
  _message = std::make_shared<MessageView>();
  _bar = std::make_shared<TransportBarView>();
  _bar->setAlpha(0);
  _bar->setHidden(true);
  _panel = std::make_shared<OptionPanelController>(_player, [this] { _panelDidClose(); });
  _panel->setTexts(_texts);
  // What is said in the middle of the screen lies above the bar, whose shade reaches far up.
  _video->addSubview(_bar);
  _video->addSubview(_spinner);
  _video->addSubview(_message);
  return _video;
}

void VideoPlayerViewController::viewDidLoad() {
  addChild(_panel);
  _video->addSubview(_panel->view());
  _panel->didMoveToParent(this);

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
  _observers.push_back(_player->addFactsObserver([this] {
    _updateSpinner();
    _updateTransportBar();
  }));
  _playerStateDidChange();
}

void VideoPlayerViewController::didMoveToParent(ViewController* parent) {
  ViewController::didMoveToParent(parent);
  if (parent) return;
  _observers.clear();
  _itemObserver.reset();
  _elapsedObserver.reset();
  _timers.hide.reset();
  _timers.spinner.reset();
  _timers.percent.reset();
  _timers.ended.reset();
  _remote.forget();
  if (_panel) _panel->close();
  if (_invalidatesPlayer) _player->invalidate();
}

// Input.

bool VideoPlayerViewController::handleInput(const InputEvent& event) {
  const auto self = shared_from_this();
  if (const auto* direction = std::get_if<SwipeDirection>(&event.what)) {
    _handleSwipe(*direction);
  } else if (std::get<PressType>(event.what) == PressType::Menu) {
    return event.repeated || _handleMenu();
  } else {
    _handlePress(std::get<PressType>(event.what), event.repeated);
  }
  if (!isOptionPanelOpen()) {
    _barWasCalled = true;
    _showTransportBar();
  }
  return true;
}

void VideoPlayerViewController::_handlePress(PressType button, bool repeated) {
  const bool backward = button == PressType::Left;
  if (backward || button == PressType::Right) return _pressSideways(backward ? -1 : 1, repeated);
  if (repeated) return;
  switch (button) {
    case PressType::Select:
    case PressType::PlayPause:
      if (button == PressType::Select && std::exchange(_goToLiveFocused, false)) {
        _remote.goToLiveEdge();
      } else {
        _remote.toggle();
      }
      break;
    case PressType::Down:
      _moveDown();
      break;
    case PressType::Up:
      _moveUp();
      break;
    default:
      _remote.settle();
  }
}

void VideoPlayerViewController::_pressSideways(int direction, bool repeated) {
  _goToLiveFocused = false;
  if (repeated) {
    _remote.hold(direction);
  } else {
    _remote.press(direction);
  }
}

void VideoPlayerViewController::_handleSwipe(SwipeDirection direction) {
  switch (direction) {
    case SwipeDirection::Left:
      _pressSideways(-1, false);
      break;
    case SwipeDirection::Right:
      _pressSideways(1, false);
      break;
    case SwipeDirection::Up:
      _moveUp();
      break;
    case SwipeDirection::Down:
      _moveDown();
      break;
  }
}

bool VideoPlayerViewController::_handleMenu() {
  if (_remote.settle()) {
    // The scan was what lay on top.
    _showTransportBar();
  } else if (_barVisible && _barWasCalled && _player->state() == TVSPlaybackState::Playing) {
    _hideTransportBar();
  } else if (_wasDismissedInVain) {
    return false;
  } else {
    const bool isOver = _player->state() == TVSPlaybackState::Stopped;
    dismiss();
    _wasDismissedInVain = isOver && parent();
  }
  return true;
}

void VideoPlayerViewController::_moveDown() {
  _remote.settle();
  if (std::exchange(_goToLiveFocused, false)) return;
  if (_panel->open()) _hideTransportBar();
}

void VideoPlayerViewController::_moveUp() {
  _remote.settle();
  _goToLiveFocused = _remote.isBehindLiveEdge();
}

// What the player tells.

void VideoPlayerViewController::_playerStateDidChange() {
  const auto state = _player->state();
  _remote.playerStateDidChange();
  _hasPlayed = _hasPlayed || state != TVSPlaybackState::Stopped;
  // An item that is loaded anew may offer something else.
  _panel->update();
  // setPlaylist() makes another item current without a notification of its own.
  _followItem();
  // A new load may bring a new output.
  _video->setOutput(_player->videoOutput());
  _updateSpinner();
  _updateMessage();
  if (state == TVSPlaybackState::Stopped) {
    _hideTransportBar();
  } else {
    _showTransportBar();
  }
}

void VideoPlayerViewController::_playerItemDidChange() {
  _remote.forget();
  _panel->close();
  _video->setOutput(_player->videoOutput());
  _followItem();
  _updateMessage();
  _updateTransportBar();
}

void VideoPlayerViewController::_followItem() {
  const auto item = _player->currentMediaItem();
  _itemObserver =
      item ? item->addMetadataObserver([this](const auto&) { _updateTransportBar(); }) : Token();
}

void VideoPlayerViewController::_updateSpinner() {
  if (_player->state() != TVSPlaybackState::Loading) {
    _timers.spinner.reset();
    _timers.percent.reset();
    _tellsPercent = false;
    _spinner->stopAnimating();
    return;
  }
  const PlayerItem* const item = _player->currentPlayerItem();
  _tellsPercent = _tellsPercent || (item && item->status() == PlayerItemStatus::ReadyToPlay);
  const auto percent = _tellsPercent ? _player->bufferingPercent() : std::nullopt;
  _spinner->setText(percent ? _texts.percentText(*percent) : std::string());
  if (_timers.spinner) return;
  // What loads quickly shows no spinner at all.
  auto& mainQueue = Platform::current().mainQueue();
  _timers.spinner = mainQueue.after(kSpinnerDelay, [this] { _spinner->startAnimating(); });
  _timers.percent = mainQueue.after(kPercentDelay, [this] {
    _tellsPercent = true;
    _updateSpinner();
  });
}

void VideoPlayerViewController::_updateMessage() {
  _timers.ended.reset();
  const PlayerItem* const item = _player->currentPlayerItem();
  const bool stopped = _player->state() == TVSPlaybackState::Stopped;
  // A failure may have come before there was a screen to tell it on.
  if (stopped && item && item->status() == PlayerItemStatus::Failed) {
    _message->setMessage(
        {_texts.failureSentence(item->error().value_or(Error{})), _texts.retryHint});
    return;
  }
  _message->setMessage({});
  if (!_player->hasQueuePlayer()) {
    // An invalidated player cannot play again, so there is no hint that it could.
    _message->setMessage({_texts.ended});
  } else if (stopped && _hasPlayed) {
    _timers.ended = Platform::current().mainQueue().after(kEndedDelay, [this] {
      _message->setMessage({_texts.ended, _texts.replayHint});
    });
  }
}

// The transport bar.

void VideoPlayerViewController::_panelDidClose() {
  // It comes back where it stays by itself; otherwise the picture is free now.
  if (_player->state() != TVSPlaybackState::Playing) _showTransportBar();
}

void VideoPlayerViewController::_showTransportBar() {
  // Presses may still arrive while the view fades out after the controller has left its parent.
  if (_observers.empty() || isOptionPanelOpen()) return;
  // Nothing plays: there is a message on the screen, or soon will be.
  if (_player->state() == TVSPlaybackState::Stopped) return;
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

void VideoPlayerViewController::_hideTransportBar() {
  _timers.hide.reset();
  if (!_barVisible) return;
  _barVisible = false;
  _barWasCalled = false;
  _goToLiveFocused = false;
  // Nothing may wake the process for a bar that nobody sees.
  _elapsedObserver.reset();
  _bar->animateAlpha(0, kBarFade);
}

void VideoPlayerViewController::_hideTransportBarLater() {
  _timers.hide.reset();
  if (_player->state() != TVSPlaybackState::Playing || _player->scanRate()) return;
  _timers.hide = Platform::current().mainQueue().after(kBarStays, [this] { _hideTransportBar(); });
}

void VideoPlayerViewController::_updateTransportBar() {
  if (!_barVisible) return;
  auto bar = transportBar(*_player, _remote, _texts);
  _goToLiveFocused = _goToLiveFocused && !bar.goToLiveText.empty();
  bar.goToLiveFocused = _goToLiveFocused;
  _bar->setElement(std::move(bar));
}

}  // namespace platform
