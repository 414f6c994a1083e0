// Notifications, observers and the now-playing information.

#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/Value.h"
#include "platform/media/TVSPlayer.h"
#include "platform/services/Platform.h"

namespace {
constexpr std::string_view kSelectedAudioOption = "selectedAudioOption";
constexpr std::string_view kSelectedSubtitleOption = "selectedSubtitleOption";
constexpr double kPlayingInterval = 1;
constexpr double kScanningInterval = 0.25;
}  // namespace

void TVSPlayer::_post(std::string_view notification) {
  _platform.notificationCenter().post(notification, this);
}

void TVSPlayer::_announceState() {
  if (_announcedState == _state) return;
  _announcedState = _state;
  _publishNowPlaying();
  _post(TVSPlaybackStateDidChangeNotification);
}

void TVSPlayer::_announceStateLater() {
  _platform.mainQueue().async([weak = weak_from_this()] {
    if (const auto player = weak.lock()) player->_announceState();
  });
}

platform::Token TVSPlayer::addElapsedTimeObserver(ElapsedTimeObserver observer) {
  const auto identifier = _observers.elapsedTime.insert(std::move(observer));
  _updateElapsedTimer();
  return platform::Token([weak = weak_from_this(), identifier] {
    const auto player = weak.lock();
    if (!player) return;
    player->_observers.elapsedTime.erase(identifier);
    player->_updateElapsedTimer();
  });
}

void TVSPlayer::_updateElapsedTimer() {
  double interval = 0;
  if (_phase == Phase::Playing && !_observers.elapsedTime.empty()) {
    interval = _isScanning() ? kScanningInterval : kPlayingInterval;
  }
  if (interval == _observers.elapsedInterval) return;
  _observers.elapsedInterval = interval;
  _observers.elapsedTimer.reset();
  if (interval == 0) return;
  _observers.elapsedTimer = _platform.mainQueue().after(platform::durationFromSeconds(interval),
                                                        [this] { _elapsedTimerDidFire(); });
}

void TVSPlayer::_elapsedTimerDidFire() {
  const auto self = shared_from_this();
  _observers.elapsedInterval = 0;
  _updateElapsedTimer();
  _observers.elapsedTime.call(elapsedTime(), playbackDate(), duration(), _isScanning());
}

platform::Token TVSPlayer::addPropertyObserver(std::string_view property,
                                               std::function<void()> observer) {
  TVS_ASSERT(property == kSelectedAudioOption || property == kSelectedSubtitleOption);
  auto& observers =
      property == kSelectedAudioOption ? _observers.audioOption : _observers.subtitleOption;
  return observers.add(std::move(observer));
}

platform::Token TVSPlayer::addFactsObserver(std::function<void()> observer) {
  return _observers.facts.add(std::move(observer));
}

platform::Value TVSPlayer::_selectedOption(std::string_view characteristic) const {
  if (!_item) return {};
  for (const auto& group : _item->selectionGroups()) {
    if (group.characteristic != characteristic || !group.selected ||
        *group.selected >= group.options.size())
      continue;
    return platform::PlayerItem::propertyList(group, group.options[*group.selected]);
  }
  return {};
}

platform::Value TVSPlayer::selectedAudioOption() const {
  return _selectedOption(platform::kMediaCharacteristicAudible);
}

platform::Value TVSPlayer::selectedSubtitleOption() const {
  return _selectedOption(platform::kMediaCharacteristicLegible);
}

void TVSPlayer::setUpdatesNowPlayingInfoAutomatically(bool updates) {
  if (updates == _remotes.updatesNowPlaying) return;
  _remotes.updatesNowPlaying = updates;
  _updateRemoteCommands();
  if (updates && _isLoaded()) _publishNowPlaying();
}

TVSPlayer::PublishedFacts TVSPlayer::_currentPublishedFacts() const {
  PublishedFacts facts;
  if (!_isLoaded()) return facts;
  const auto title = currentMediaItem()->metadata(platform::kMediaItemTitle);
  if (const auto* text = title.asString()) {
    facts.title = *text;
  } else if (_isReady()) {
    facts.title = _engine->facts().title;
  }
  if (const double seconds = duration(); seconds != TVSDurationIndefinite) facts.duration = seconds;
  return facts;
}

void TVSPlayer::_publishNowPlayingIfChanged() {
  if (_remotes.published != _currentPublishedFacts()) {
    _publishNowPlaying();
  } else {
    _notifyRemotes();
  }
}

void TVSPlayer::_publishNowPlaying() {
  _notifyRemotes();
  if (!_remotes.updatesNowPlaying) return;
  _remotes.published = _currentPublishedFacts();
  const bool runs = _state == TVSPlaybackState::Playing || _state == TVSPlaybackState::Scanning;
  auto& service = _platform.nowPlaying();
  // Unknown values are set as well, to replace those of the previous item.
  service.setNowPlayingInfo(
      {{std::string(platform::kNowPlayingTitle), _remotes.published->title},
       {std::string(platform::kNowPlayingDuration), _remotes.published->duration},
       {std::string(platform::kNowPlayingElapsedTime), elapsedTime()},
       {std::string(platform::kNowPlayingPlaybackRate), rate()}},
      0);
  service.setPlaybackState(runs ? platform::NowPlayingPlaybackState::Playing
                                : platform::NowPlayingPlaybackState::Paused);
}
