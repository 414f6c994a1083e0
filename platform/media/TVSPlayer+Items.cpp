// The playlist, loading, and the change to the next item.

#include <algorithm>
#include <utility>

#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/ErrorLog.h"
#include "platform/media/TVSPlayer.h"
#include "platform/services/Platform.h"

namespace {

/// Returns a URL without user name, password, query and fragment, which may be secret.
std::string urlForLog(std::string url) {
  if (const std::size_t end = url.find_first_of("?#"); end != std::string::npos)
    url = url.substr(0, end) + "?...";
  const std::size_t colon = url.find(':');
  if (colon == std::string::npos) return url;
  if (url.compare(colon, 3, "://") != 0) return url.substr(0, colon + 1) + "...";
  const std::size_t host = colon + 3;
  const std::size_t at = url.substr(0, url.find('/', host)).rfind('@');
  if (at != std::string::npos && at >= host) url.erase(host, at + 1 - host);
  return url;
}

}  // namespace

void TVSPlayer::setPlaylist(std::shared_ptr<TVSPlaylist> playlist) {
  if (!_engine) return;
  const auto self = shared_from_this();
  ++_serials.epoch;
  _items.observer.reset();
  _items.playlist = std::move(playlist);
  _errorLog = {};
  // The failed requests of the old item do not belong to the new playlist.
  _item.reset();
  _currentItemIsFinished = false;
  _target.scanRate.reset();
  _updateRemoteCommands();
  if (_items.playlist) {
    _items.observer =
        _items.playlist->addObserver([weak = weak_from_this()](const TVSPlaylist::Change& change) {
          if (const auto player = weak.lock()) player->_playlistDidChange(change);
        });
  }
  if (!_items.playlist || !_items.playlist->currentItem()) {
    if (_isLoaded()) _stopWithItem(nullptr);
    return;
  }
  // Before the load, so that it precedes the events of the engine.
  _announceStateLater();
  if (_isLoaded()) _start = {};
  _load();
}

void TVSPlayer::_load() {
  const auto item = _items.playlist->currentItem();
  _recordFailedRequests();
  ++_serials.epoch;
  _serials.generation = ++_serials.lastGeneration;
  _currentItemIsFinished = false;
  _phase = Phase::Loading;
  _engineRate = 0;
  _state = _stateOfPhase();
  _updateElapsedTimer();
  platform::MediaLoad load = _makeLoad(item, _start);
  load.generation = _serials.generation;
  _item = std::make_unique<platform::PlayerItem>(*this, item);
  _item->_forwardEndSeconds = load.forwardEndSeconds;
  _item->_reverseEndSeconds = load.reverseEndSeconds;
  // The engine uses or cancels its preparation.
  _preparation.item.reset();
  _preparation.timer.reset();
  _engine->load(load);
}

platform::MediaLoad TVSPlayer::_makeLoad(const std::shared_ptr<TVSMediaItem>& item,
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
  _recordFailedRequests();
  ++_serials.epoch;
  _serials.generation = 0;
  _phase = Phase::Idle;
  _engineRate = 0;
  _preparation.item.reset();
  _preparation.timer.reset();
  _engine->unload();
}

void TVSPlayer::_stopWithItem(std::unique_ptr<platform::PlayerItem> failedItem) {
  _unload();
  _item = std::move(failedItem);
  _target = {};
  _start = {};
  _updateState();
}

void TVSPlayer::_restart() {
  if (!_items.playlist || !_items.playlist->currentItem()) return;
  if (_currentItemIsFinished && _items.playlist->nextItem()) {
    _changeItem([&] { return _items.playlist->advance(); });
    return;
  }
  _load();
  _announceState();
}

void TVSPlayer::_changeItem(const std::function<bool()>& moveCurrent) {
  const auto epoch = _serials.epoch;
  _post(TVSPlaybackCurrentMediaItemWillChangeNotification);
  if (_serials.epoch != epoch) return;
  _items.isMoving = true;
  const bool moved = moveCurrent();
  _items.isMoving = false;
  if (_serials.epoch != epoch) return;
  if (!moved || !_items.playlist->currentItem()) {
    // An observer has removed the next item.
    if (_isLoaded()) _stopWithItem(nullptr);
    return;
  }
  // Earlier seeks, also those after the end of the last item, do not apply to this item.
  _start = {};
  _target.scanRate.reset();
  _load();
  _post(TVSPlaybackCurrentMediaItemDidChangeNotification);
  _announceState();
}

void TVSPlayer::_advanceOrStop(bool playedToEnd) {
  if (_items.playlist->nextItem()) {
    _changeItem([&] { return _items.playlist->advance(); });
    return;
  }
  if (playedToEnd) {
    const auto epoch = _serials.epoch;
    _post(TVSPlaybackPlaylistDidFinishNotification);
    if (_serials.epoch != epoch) return;
  }
  _currentItemIsFinished = true;
  _stopWithItem(playedToEnd ? nullptr : std::move(_item));
}

void TVSPlayer::_playlistDidChange(const TVSPlaylist::Change& change) {
  using Kind = TVSPlaylist::Change::Kind;
  if (_items.isMoving) return;
  if (change.kind != Kind::CurrentChanged && !(change.kind == Kind::Removed && change.wasCurrent)) {
    _updatePreparation();
    return;
  }
  if (!_isLoaded()) {
    // A seek after its end was meant for the removed item.
    if (std::exchange(_currentItemIsFinished, false)) _start = {};
    _item.reset();
  } else if (_items.playlist->currentItem()) {
    _changeItem([] { return true; });
  } else {
    _stopWithItem(nullptr);
  }
}

void TVSPlayer::_recordFailure(const platform::Error& error) {
  const auto& item = *_item->mediaItem();
  TVSLogError(TVSSystemLog, "Cannot play %@: %@", urlForLog(item.url()), error);
  const auto requests = _newFailedRequests();
  _recordFailedRequests();
  // The failed request for the item itself is the failure of the item.
  const bool isRecorded = std::any_of(requests.begin(), requests.end(), [&](const auto& each) {
    return each.url == item.url() && each.error.domain == error.domain &&
           each.error.code == error.code;
  });
  if (!isRecorded)
    appendToErrorLog(_errorLog,
                     platform::FailedRequest{_platform.clock().date(), item.url(), error});
}

std::vector<platform::FailedRequest> TVSPlayer::_newFailedRequests() const {
  // The requests of a failed item were recorded with its failure.
  if (!_engine || !_isLoaded() || !_item || _item->status() == platform::PlayerItemStatus::Failed)
    return {};
  return _engine->failedRequests();
}

void TVSPlayer::_recordFailedRequests() {
  for (const platform::FailedRequest& each : _newFailedRequests())
    appendToErrorLog(_errorLog, each);
}
