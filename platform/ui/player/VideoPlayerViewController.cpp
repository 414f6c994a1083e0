#include "platform/ui/player/VideoPlayerViewController.h"

#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/services/Platform.h"
#include "platform/ui/player/ItemTitle.h"
#include "platform/ui/player/OptionPanelController.h"
#include "platform/ui/player/TransportBarModel.h"
#include "platform/ui/views/ActivityIndicatorView.h"
#include "platform/ui/views/AudioItemView.h"
#include "platform/ui/views/MessageView.h"
#include "platform/ui/views/TransportBarView.h"
#include "platform/ui/views/VideoView.h"

namespace platform {

namespace {

constexpr Duration kBarFade = std::chrono::milliseconds(300);
constexpr Duration kBarTimeout = std::chrono::seconds(5);
constexpr Duration kSpinnerDelay = std::chrono::milliseconds(400);
/// For the first load of an item, which usually plays long before its buffer is full.
constexpr Duration kPercentDelay = std::chrono::seconds(2);
/// Usually the session ends the presentation before this delay is over.
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
  _audioItem = std::make_shared<AudioItemView>();
  _audioItem->setHidden(true);
  _spinner = std::make_shared<ActivityIndicatorView>(ActivityIndicatorView::kLargeStyle);
  _spinner->centerIn(_video->bounds());
  _message = std::make_shared<MessageView>();
  _bar = std::make_shared<TransportBarView>();
  _bar->setAlpha(0);
  _bar->setHidden(true);
  _panel = std::make_shared<OptionPanelController>(_player, [this] { _panelDidClose(); });
  _panel->setTexts(_texts);
  // The message is above the bar, because the gradient of the bar reaches the center of the screen.
  _video->addSubview(_audioItem);
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
          const auto self = shared_from_this();  // the call may remove the controller
          (this->*operation)();
        }));
  };
  observe(TVSPlaybackStateDidChangeNotification, &VideoPlayerViewController::_playerStateDidChange);
  observe(TVSPlaybackCurrentMediaItemDidChangeNotification,
          &VideoPlayerViewController::_playerItemDidChange);
  observe(TVSPlaybackTimeDidJumpNotification, &VideoPlayerViewController::_showTransportBar);
  _observers.push_back(_player->addFactsObserver([this] {
    _updatePicture();
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
  _remote.reset();
  if (_panel) _panel->close();
  if (_invalidatesPlayer) _player->invalidate();
}

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
    _barShownByButton = true;
    _showTransportBar();
  }
  return true;
}

void VideoPlayerViewController::_handlePress(PressType button, bool repeated) {
  const bool backward = button == PressType::Left;
  if (backward || button == PressType::Right) return _handleLeftRight(backward ? -1 : 1, repeated);
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
      _handleDown();
      break;
    case PressType::Up:
      _handleUp();
      break;
    default:
      _remote.finishSeeking();
  }
}

void VideoPlayerViewController::_handleLeftRight(int direction, bool repeated) {
  _goToLiveFocused = false;
  if (repeated) {
    _remote.repeat(direction);
  } else {
    _remote.press(direction);
  }
}

void VideoPlayerViewController::_handleSwipe(SwipeDirection direction) {
  switch (direction) {
    case SwipeDirection::Left:
      _handleLeftRight(-1, false);
      break;
    case SwipeDirection::Right:
      _handleLeftRight(1, false);
      break;
    case SwipeDirection::Up:
      _handleUp();
      break;
    case SwipeDirection::Down:
      _handleDown();
      break;
  }
}

bool VideoPlayerViewController::_handleMenu() {
  if (_remote.finishSeeking()) {
    _showTransportBar();
  } else if (_barVisible && _barShownByButton && _player->state() == TVSPlaybackState::Playing) {
    _hideTransportBar();
  } else if (_dismissHadNoEffect) {
    return false;
  } else {
    const bool isOver = _player->state() == TVSPlaybackState::Stopped;
    dismiss();
    _dismissHadNoEffect = isOver && parent();
  }
  return true;
}

void VideoPlayerViewController::_handleDown() {
  _remote.finishSeeking();
  if (std::exchange(_goToLiveFocused, false)) return;
  if (_panel->open()) _hideTransportBar();
}

void VideoPlayerViewController::_handleUp() {
  _remote.finishSeeking();
  _goToLiveFocused = _remote.isBehindLiveEdge();
}

void VideoPlayerViewController::_playerStateDidChange() {
  const auto state = _player->state();
  _remote.playerStateDidChange();
  _hasPlayed = _hasPlayed || state != TVSPlaybackState::Stopped;
  _panel->update();
  // setPlaylist() changes the current item without posting an item notification.
  _observeCurrentItem();
  _updatePicture();
  _updateSpinner();
  _updateMessage();
  if (state == TVSPlaybackState::Stopped) {
    _hideTransportBar();
  } else {
    _showTransportBar();
  }
}

void VideoPlayerViewController::_playerItemDidChange() {
  _remote.reset();
  _panel->close();
  _updatePicture();
  _observeCurrentItem();
  _updateMessage();
  _updateTransportBar();
}

void VideoPlayerViewController::_observeCurrentItem() {
  const auto item = _player->currentMediaItem();
  _itemObserver = item ? item->addMetadataObserver([this](const auto&) {
    _updatePicture();
    _updateTransportBar();
  })
                       : Token();
}

void VideoPlayerViewController::_updatePicture() {
  const auto output = _player->videoOutput();
  const bool isAudio = hasNoVideo(*_player);
  // Facts of a film change often.
  if (!isAudio && _audioItem->hidden() && _video->output() == output) return;
  _audioItem->setHidden(!isAudio);
  _video->setOutput(isAudio ? nullptr : output);
  if (!isAudio) return _audioItem->setContent({});
  ItemTexts texts = itemTexts(*_player);
  _audioItem->setContent({std::move(texts.title), std::move(texts.artist), std::move(texts.album),
                          _player->currentPlayerItem()->hasCover() ? output : nullptr});
}

void VideoPlayerViewController::_updateSpinner() {
  if (_player->state() != TVSPlaybackState::Loading) {
    _timers.spinner.reset();
    _timers.percent.reset();
    _showsPercent = false;
    _spinner->stopAnimating();
    return;
  }
  const PlayerItem* const item = _player->currentPlayerItem();
  _showsPercent = _showsPercent || (item && item->status() == PlayerItemStatus::ReadyToPlay);
  const auto percent = _showsPercent ? _player->bufferingPercent() : std::nullopt;
  _spinner->setText(percent ? _texts.percentText(*percent) : std::string());
  if (_timers.spinner) return;
  // The delay avoids a flash of the spinner for short loads.
  auto& mainQueue = Platform::current().mainQueue();
  _timers.spinner = mainQueue.after(kSpinnerDelay, [this] { _spinner->startAnimating(); });
  _timers.percent = mainQueue.after(kPercentDelay, [this] {
    _showsPercent = true;
    _updateSpinner();
  });
}

void VideoPlayerViewController::_updateMessage() {
  _timers.ended.reset();
  const PlayerItem* const item = _player->currentPlayerItem();
  const bool stopped = _player->state() == TVSPlaybackState::Stopped;
  // `_hasPlayed` is not checked, because the item may have failed before the view was loaded.
  if (stopped && item && item->status() == PlayerItemStatus::Failed) {
    _message->setMessage(
        {_texts.failureSentence(item->error().value_or(Error{})), _texts.retryHint});
    return;
  }
  _message->setMessage({});
  if (!_player->hasQueuePlayer()) {
    // Without a hint, because an invalidated player cannot play again.
    _message->setMessage({_texts.ended});
  } else if (stopped && _hasPlayed) {
    _timers.ended = Platform::current().mainQueue().after(kEndedDelay, [this] {
      _message->setMessage({_texts.ended, _texts.replayHint});
    });
  }
}

void VideoPlayerViewController::_panelDidClose() {
  // During playback the bar stays hidden.
  if (_player->state() != TVSPlaybackState::Playing) _showTransportBar();
}

void VideoPlayerViewController::_showTransportBar() {
  // Input may arrive while the view fades out, after the controller was removed from its parent.
  if (_observers.empty() || isOptionPanelOpen()) return;
  // A stopped player has a message instead.
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
  _barShownByButton = false;
  _goToLiveFocused = false;
  // Avoids wake-ups while the bar is invisible.
  _elapsedObserver.reset();
  _bar->animateAlpha(0, kBarFade);
}

void VideoPlayerViewController::_hideTransportBarLater() {
  _timers.hide.reset();
  if (_player->state() != TVSPlaybackState::Playing || _player->scanRate()) return;
  _timers.hide =
      Platform::current().mainQueue().after(kBarTimeout, [this] { _hideTransportBar(); });
}

void VideoPlayerViewController::_updateTransportBar() {
  if (!_barVisible) return;
  auto bar = transportBar(*_player, _remote, _texts);
  _goToLiveFocused = _goToLiveFocused && !bar.goToLiveText.empty();
  bar.goToLiveFocused = _goToLiveFocused;
  _bar->setElement(std::move(bar));
}

}  // namespace platform
