// The playlist's side of the player: what is loaded, and what comes after it.

#include <algorithm>
#include <utility>

#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/MediaLogKeys.h"
#include "platform/media/TVSPlayer.h"
#include "platform/services/Platform.h"

namespace {

/// A playlist of nothing but failures must not fill the memory.
constexpr std::size_t kErrorLogLimit = 100;

}  // namespace

void TVSPlayer::setPlaylist(std::shared_ptr<TVSPlaylist> playlist) {
  if (!_engine) return;
  const auto self = shared_from_this();
  ++_serials.epoch;
  _items.observer.reset();
  _items.playlist = std::move(playlist);
  _errorLog = {};
  _currentItemIsSpent = false;
  _target.scanRate.reset();
  _updateRemoteCommands();
  if (_items.playlist) {
    _items.observer =
        _items.playlist->addObserver([weak = weak_from_this()](const TVSPlaylist::Change& change) {
          if (const auto player = weak.lock()) player->_playlistDidChange(change);
        });
  }
  if (!_items.playlist || !_items.playlist->currentItem()) {
    _item.reset();
    if (_isLoaded()) _stopKeeping(nullptr);
    return;
  }
  // Before the load, so that it comes before whatever the engine has to say of it.
  _announceLater();
  if (_isLoaded()) _start = {};
  _load();
}

void TVSPlayer::_load() {
  const auto item = _items.playlist->currentItem();
  ++_serials.epoch;
  _serials.generation = ++_serials.lastGeneration;
  _currentItemIsSpent = false;
  _phase = Phase::Loading;
  _engineRate = 0;
  _state = _stateOfPhase();
  _updateElapsedTimer();
  platform::MediaLoad load = _loadOf(item, _start);
  load.generation = _serials.generation;
  _item = std::make_unique<platform::PlayerItem>(*this, item);
  _item->_forwardEndSeconds = load.forwardEndSeconds;
  _item->_reverseEndSeconds = load.reverseEndSeconds;
  // The engine takes it over, or drops it.
  _preparation.item.reset();
  _preparation.timer.reset();
  _engine->load(load);
}

platform::MediaLoad TVSPlayer::_loadOf(const std::shared_ptr<TVSMediaItem>& item,
                                       const StartPoint& start) const {
  platform::MediaLoad load;
  load.item = item;
  load.startSeconds = start.seconds;
  load.startFraction = start.fraction;
  load.startDate = start.date;
  if (!start.hasPosition()) load.startSeconds = item->finiteMetadata(platform::kMediaItemStartTime);
  load.forwardEndSeconds = item->finiteMetadata(platform::kMediaItemForwardEndTime);
  load.reverseEndSeconds = item->finiteMetadata(platform::kMediaItemReverseEndTime);
  load.playing = _target.playing;
  load.rate = _settings.rate;
  load.volume = _settings.volume;
  load.muted = _settings.muted;
  return load;
}

void TVSPlayer::_unload() {
  ++_serials.epoch;
  _serials.generation = 0;
  _phase = Phase::Idle;
  _engineRate = 0;
  _preparation.item.reset();
  _preparation.timer.reset();
  _engine->unload();
}

void TVSPlayer::_stopKeeping(std::unique_ptr<platform::PlayerItem> failedItem) {
  _unload();
  _item = std::move(failedItem);
  _target = {};
  _start = {};
  _settle();
}

void TVSPlayer::_beginAnew() {
  if (!_items.playlist || !_items.playlist->currentItem()) return;
  if (_currentItemIsSpent && _items.playlist->nextItem()) {
    _changeItem([&] { return _items.playlist->advance(); });
    return;
  }
  _load();
  _announce();
}

void TVSPlayer::_changeItem(const std::function<bool()>& moveCurrent) {
  const auto epoch = _serials.epoch;
  _post(TVSPlaybackCurrentMediaItemWillChangeNotification);
  if (_serials.epoch != epoch) return;
  _items.moves = true;
  const bool moved = moveCurrent();
  _items.moves = false;
  if (_serials.epoch != epoch) return;
  if (!moved || !_items.playlist->currentItem()) {
    // The item to come was taken away by those who were told of it.
    if (_isLoaded()) _stopKeeping(nullptr);
    return;
  }
  // What was sought before, even after the end of the last item, was not meant for this item.
  _start = {};
  _target.scanRate.reset();
  _load();
  _post(TVSPlaybackCurrentMediaItemDidChangeNotification);
  _announce();
}

void TVSPlayer::_leaveItem(bool playedToEnd) {
  if (_items.playlist->nextItem()) {
    _changeItem([&] { return _items.playlist->advance(); });
    return;
  }
  if (playedToEnd) {
    const auto epoch = _serials.epoch;
    _post(TVSPlaybackPlaylistDidFinishNotification);
    if (_serials.epoch != epoch) return;
  }
  _currentItemIsSpent = true;
  _stopKeeping(playedToEnd ? nullptr : std::move(_item));
}

void TVSPlayer::_playlistDidChange(const TVSPlaylist::Change& change) {
  using Kind = TVSPlaylist::Change::Kind;
  if (_items.moves) return;
  if (change.kind != Kind::CurrentChanged && !(change.kind == Kind::Removed && change.wasCurrent)) {
    _updatePreparation();
    return;
  }
  if (!_isLoaded()) {
    // What was sought after its end was meant for the item that is gone.
    if (std::exchange(_currentItemIsSpent, false)) _start = {};
    _item.reset();
  } else if (_items.playlist->currentItem()) {
    _changeItem([] { return true; });
  } else {
    _stopKeeping(nullptr);
  }
}

void TVSPlayer::_recordFailure(const platform::Error& error) {
  const auto& item = *_item->mediaItem();
  TVSLogError(TVSSystemLog, "%@ cannot play %@: %@", *this, item, error);
  platform::Dictionary entry{{std::string(platform::kErrorLogDate), _platform.clock().date()}};
  if (const auto url = item.url(); !url.empty()) entry.set(platform::kErrorLogURI, url);
  entry.set(platform::kErrorLogStatusCode, error.code);
  entry.set(platform::kErrorLogDomain, error.domain);
  if (error.localizedDescription)
    entry.set(platform::kErrorLogComment, *error.localizedDescription);

  if (_errorLog.size() >= kErrorLogLimit) {
    _errorLog =
        platform::Array(std::vector<platform::Value>(_errorLog.begin() + 1, _errorLog.end()));
  }
  _errorLog.append(std::move(entry));
}
