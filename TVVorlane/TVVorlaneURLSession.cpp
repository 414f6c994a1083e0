#include "TVVorlane/TVVorlaneURLSession.h"

#include "TVVorlane/TVSPlayer+Vorlane.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneMediaItem.h"
#include "TVVorlane/TVVorlaneMetadataMonitor.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "TVVorlane/TVVorlaneStoreMediaItem.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "platform/foundation/Assertion.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/services/Platform.h"

using platform::Dictionary;
using platform::Platform;
using platform::Value;

namespace {

constexpr std::string_view TVVorlaneURLPlayerName = "TVVorlaneURLPlayerName";
constexpr int kInterruptionBegan = 1;

Value secondsOfTimeDictionary(const Dictionary& params, std::string_view key) {
  const auto dictionary = params.dictionary(key);
  if (!dictionary) return {};
  const auto time = platform::MediaTime::fromDictionary(*dictionary);
  return time.isNumeric() ? Value(time.toSeconds()) : Value();
}

bool hasContent(const Dictionary& params, std::string_view key) {
  const auto data = params.data(key);
  return data && !data->empty();
}

std::shared_ptr<TVVorlaneMediaItem> urlItemForParameters(const Dictionary& params) {
  std::vector<std::string> traits;
  if (params.boolean("inheritURIQueryComponentFromReferencingURI")) {
    traits.emplace_back(platform::kMediaItemTraitInheritsURIQueryComponent);
  }
  if (params.string("purchasedMediaKind") != "music" && !params.boolean("audioOnly")) {
    traits.emplace_back(platform::kMediaItemTraitUsesDiskCache);
  }
  return std::make_shared<TVVorlaneMediaItem>(params.string("Content-Location").value_or(""),
                                              std::move(traits));
}

void setAuthorization(TVSMediaItem& item, const Dictionary& params) {
  if (params.contains("Play-Info") && params.contains("fpSessionID")) {
    Dictionary authorization;
    if (hasContent(params, "Play-Info")) {
      authorization.set(platform::kContentAuthorizationPlayInfo, params.get("Play-Info"));
    }
    authorization.set(platform::kContentAuthorizationSessionIdentifier, params.get("fpSessionID"));
    item.setMetadata(platform::kMediaItemSenderAuthorization, authorization);
  }
  const auto tls = TVVorlaneMediaItem::sslPropertiesForIdentity(params.get("tlsPSKClientIdentity"),
                                                                params.get("tlsPSK"));
  item.setMetadata(platform::kMediaItemTLSSettings, tls ? Value(*tls) : Value());
}

}  // namespace

TVVorlaneURLSession::TVVorlaneURLSession() = default;

TVVorlaneURLSession::~TVVorlaneURLSession() { _removePlayerKVOObservers(); }

std::int64_t TVVorlaneURLSession::sessionType() const {
  return _audioOnly ? TVVorlaneSessionType::kAudioOnly : TVVorlaneSessionType::kVideo;
}

void TVVorlaneURLSession::startWithOptions(const Dictionary& options, StartCompletion completion) {
  OptionalError invalid;
  if (!TVVorlaneUtilities::validateParameters(options, &invalid)) {
    completion(std::nullopt, invalid);
    return;
  }
  _initialRequest = options;
  if (!options.contains("Content-Location")) {
    // `completion` is not called. The receiver service must reject such a call.
    TVSLogNotice(TVVLSession, "### Vorlane no URL in params:\n%@", options);
    return;
  }
  _parseSessionOptions(options);
  Platform::current().nowPlaying().setEligible(true);

  const auto item = _mediaItemForParameters(options);
  _becomeResourceLoadingDelegateOf(item);
  _resourceLoadingRequests.clear();
  _playlist = std::make_shared<TVSPlaylist>(std::vector{item}, 0, false);
  _playlist->setWindowed(true);
  setPlayer(_playerForParameters(options, _playlist));
  _observePlayer();
  _player->setPlaybackDelegate(weak_from_this());

  TVVorlaneSessionManager::sharedInstance()->registerSession(
      shared_from_this(), [self = shared_from_this(), options,
                           completion = std::move(completion)](const OptionalError& error) {
        const double rate = options.number("rate").value_or(platform::Number(1.0)).doubleValue();
        if (self->_player && rate != 0) self->_player->setRateUsedForPlayback(rate);
        if (self->_player && rate == 0) self->_player->pause();
        completion(std::nullopt, error);
      });
}

void TVVorlaneURLSession::_parseSessionOptions(const Dictionary& options) {
  _audioOnly = options.boolean("audioOnly") || options.string("purchasedMediaKind") == "music";
  _sessionID = _sessionIDOf(options);
}

Dictionary TVVorlaneURLSession::_parametersWithAddedSessionOptions(const Dictionary& params) const {
  Dictionary added = params;
  if (_audioOnly) added.set("audioOnly", true);
  return added;
}

void TVVorlaneURLSession::_becomeResourceLoadingDelegateOf(
    const std::shared_ptr<TVSMediaItem>& item) {
  if (const auto loading = std::dynamic_pointer_cast<TVVorlaneResourceLoadingMediaItem>(item)) {
    loading->setResourceLoadingDelegate(weak_from_this());
  }
}

std::shared_ptr<TVSMediaItem> TVVorlaneURLSession::_mediaItemForParameters(
    const Dictionary& params) {
  std::shared_ptr<TVSMediaItem> item;
  const bool isStoreItem = hasContent(params, "mz_at") && params.contains("buyParams");
  if (isStoreItem) {
    item = std::make_shared<TVVorlaneStoreMediaItem>(params);
  } else {
    item = urlItemForParameters(params);
  }
  item->performMetadataTransaction([&] {
    item->setMetadata(platform::kMediaItemAllowsDirectWirelessLink, params.get("allowP2P"));
    item->setMetadata(platform::kMediaItemAcquisition, params.get("purchaseBundle"));
    item->setMetadata(platform::kMediaItemAlternateTracks, params.get("outOfBandAlternateTracks"));
    item->setMetadata(platform::kMediaItemSubtitleStyles, params.get("textMarkupArray"));
    item->setMetadata(platform::kMediaItemCookies, params.get("cookies"));
    item->setMetadata(platform::kMediaItemUserAgent, params.get("userAgent"));
    item->setMetadata(TVVorlaneMediaItemMetadataUUID, params.get("uuid"));
    item->setMetadata(platform::kMediaItemForwardEndTime,
                      secondsOfTimeDictionary(params, "forwardEndTime"));
    item->setMetadata(platform::kMediaItemReverseEndTime,
                      secondsOfTimeDictionary(params, "reverseEndTime"));
    // A music purchase without "audioOnly" is typed as video.
    item->setMetadata(platform::kMediaItemMediaType, params.boolean("audioOnly")
                                                         ? platform::kMediaItemMediaTypeMusic
                                                         : platform::kMediaItemMediaTypeVideo);
    if (!isStoreItem) setAuthorization(*item, params);
  });
  return item;
}

std::shared_ptr<TVSPlayer> TVVorlaneURLSession::_playerForParameters(
    const Dictionary& params, const std::shared_ptr<TVSPlaylist>& playlist) {
  auto player = std::make_shared<TVSPlayer>(std::string(TVVorlaneURLPlayerName));
  // The player publishes now-playing info itself only if "audioOnly" is present and false.
  const auto audioOnly = params.number("audioOnly");
  player->setUpdatesNowPlayingInfoAutomatically(audioOnly && !audioOnly->boolValue());
  player->setHandlesRemoteCommandsWithoutNowPlayingInfo(true);
  if (const auto seconds = params.number("Start-Position-Seconds")) {
    player->setElapsedTime(seconds->doubleValue());
  } else if (const auto position = params.number("Start-Position")) {
    player->setStartPosition(position->doubleValue());
  }
  const auto startDate = params.date("Start-Date");
  if (startDate) player->setPlaybackDate(*startDate);
  // An estimated date applies the start date a second time.
  if (params.contains("Start-Estimated-Date") && startDate) player->setPlaybackDate(*startDate);
  if (const auto muted = params.number("muted")) player->setMuted(muted->boolValue());
  if (const auto volume = params.number("volume")) player->setVolume(volume->floatValue());
  // Last, because this starts loading.
  player->setPlaylist(playlist);
  return player;
}

void TVVorlaneURLSession::setPlayer(std::shared_ptr<TVSPlayer> player) {
  if (player == _player) return;
  if (_player) {
    _elapsedTimeObserverToken.reset();
    _stateObserver.reset();
    _player->stop();
    _player->invalidate();
  }
  _player = std::move(player);
  if (!_player) return;
  auto token = _player->addElapsedTimeObserver(
      [this](double elapsed, const std::optional<platform::Date>&, double, bool scanning) {
        if (scanning) _elapsedTimeDidChange(elapsed);
      });
  TVS_ASSERT(!_elapsedTimeObserverToken);
  _elapsedTimeObserverToken = std::move(token);
  _stateObserver = Platform::current().notificationCenter().addObserver(
      TVSPlaybackStateDidChangeNotification, _player.get(),
      [this](const auto&) { _playerStateDidChange(); });
}

void TVVorlaneURLSession::_observePlayer() {
  auto& center = Platform::current().notificationCenter();
  const auto observe = [&](std::string_view name, const platform::Object* sender,
                           platform::NotificationCenter::Callback callback) {
    _playerObservers.push_back(center.addObserver(name, sender, std::move(callback)));
  };
  const TVSPlayer* sender = _player.get();
  observe(TVSPlaybackDidPlayToEndOfMediaItemNotification, sender,
          [this](const auto&) { itemDidPlayToEnd(); });
  observe(TVSPlaybackCurrentMediaItemWillChangeNotification, sender,
          [this](const auto&) { itemWillChange(); });
  observe(TVSPlaybackCurrentMediaItemDidChangeNotification, sender,
          [this](const auto&) { itemDidChange(); });
  observe(TVSPlaybackPlaylistDidFinishNotification, sender,
          [this](const auto&) { playlistDidPlayToEnd(); });
  observe(platform::TVSAudioSessionInterruptionNotification, nullptr,
          [this](const platform::Notification& notification) {
            audioSessionInterrupted(notification);
          });

  for (const std::string_view property : {"selectedAudioOption", "selectedSubtitleOption"}) {
    _playerKVOObservers.push_back(_player->addPropertyObserver(
        property, [this] { _postEvent("selectedMediaArrayChanged"); }));
  }
}

void TVVorlaneURLSession::_removePlayerKVOObservers() { _playerKVOObservers.clear(); }

void TVVorlaneURLSession::_elapsedTimeDidChange(double elapsed) {
  TVSLogNotice(TVVLSession, "Scanning: Setting Elapsed time to %f", elapsed);
  const double rate = _player ? _player->rate() : 0;
  TVVorlaneMetadataMonitor::updateWithElapsedTime(elapsed, static_cast<float>(rate));
}

void TVVorlaneURLSession::_playerStateDidChange() {
  switch (_player->state()) {
    case TVSPlaybackState::Loading:
      _postEvent("loading");
      return;
    case TVSPlaybackState::Playing:
    case TVSPlaybackState::Scanning:
      _postEvent("playing", TVSPlayerVorlane::playbackInfo(*_player));
      return;
    case TVSPlaybackState::Paused:
      _postEvent("paused");
      return;
    case TVSPlaybackState::Stopped:
      _postEvent("stopped", _stoppedDueToUser
                                ? _userExitInfo()
                                : Dictionary{{"sessionID", _sessionID}, {"reason", "ended"}});
      return;
  }
  TVS_ASSERT_MESSAGE(false, "Unknown state");
}

Dictionary TVVorlaneURLSession::_userExitInfo() const {
  return {{"sessionID", _sessionID}, {"userExit", true}};
}

std::optional<std::string> TVVorlaneURLSession::_currentItemUUID() const {
  const auto item = _player ? _player->currentMediaItem() : nullptr;
  if (!item) return std::nullopt;
  const Value uuid = item->metadata(TVVorlaneMediaItemMetadataUUID);
  return uuid.asString() ? std::optional(*uuid.asString()) : std::nullopt;
}

void TVVorlaneURLSession::itemDidPlayToEnd() {
  if (const auto uuid = _currentItemUUID()) {
    TVSLogNotice(TVVLSession, "Vorlane-Playlist HIT END : %@", uuid);
    _postEvent("itemPlayedToEnd", Dictionary{{"uuid", *uuid}});
  } else {
    TVSLogNotice(TVVLSession, "!!!Vorlane-Playlist HIT END (no UUID)!!!");
  }
}

void TVVorlaneURLSession::itemWillChange() {
  if (const auto uuid = _currentItemUUID()) {
    TVSLogNotice(TVVLSession, "Vorlane-Playlist ITEM REMOVED : %@", uuid);
    _postEvent("itemRemoved", Dictionary{{"uuid", *uuid}});
  } else {
    TVSLogNotice(TVVLSession, "!!!Vorlane-Playlist ITEM REMOVED (no UUID)!!!");
  }
}

void TVVorlaneURLSession::itemDidChange() {
  const auto uuid = _currentItemUUID();
  TVSLogNotice(TVVLSession, "Vorlane-Playlist ITEM CHANGED : %@", uuid);
  _postEvent("currentItemChanged",
             uuid ? std::optional(Dictionary{{"uuid", *uuid}}) : std::nullopt);
  if (const auto item = _player ? _player->currentMediaItem() : nullptr) {
    item->setMetadata(platform::kMediaItemTrackNumber, 0);
    item->setMetadata(platform::kMediaItemTotalTrackCount, 0);
  }
}

void TVVorlaneURLSession::playlistDidPlayToEnd() {
  TVSLogNotice(TVVLSession, "Vorlane-Playlist ended");
  _postEvent("ended");
}

void TVVorlaneURLSession::audioSessionInterrupted(const platform::Notification& notification) {
  const auto type = notification.userInfo.number(platform::TVSAudioSessionInterruptionTypeKey);
  if (!type || type->int32Value() != kInterruptionBegan) return;
  TVSLogNotice(TVSSystemLog, "Vorlane stopping due to interruption");
  userStop();
}

void TVVorlaneURLSession::userStop() {
  const auto self = shared_from_this();
  _postEvent("userStop", _userExitInfo());
  _stoppedDueToUser = true;
  if (_player) _player->stop();
  TVVorlaneSessionManager::sharedInstance()->deregisterSession(self, false);
}

bool TVVorlaneURLSession::stopWithOptions(const Value& options, OptionalError* error) {
  if (!TVVorlaneUtilities::validateParameters(options, error)) return false;
  const auto self = shared_from_this();
  _playerObservers.clear();
  _removePlayerKVOObservers();
  setPlayer(nullptr);
  _playlist = nullptr;
  _initialRequest = std::nullopt;
  _resourceLoadingRequests.clear();
  TVVorlaneSessionManager::sharedInstance()->deregisterSession(self, true);
  Platform::current().nowPlaying().setEligible(false);
  return true;
}

bool TVVorlaneURLSession::playerShouldSeekToTime(TVSPlayer&, double,
                                                 const std::optional<platform::Date>&) {
  return true;
}

bool TVVorlaneURLSession::playerShouldPlay(TVSPlayer&, double) { return true; }

bool TVVorlaneURLSession::playerShouldPause(TVSPlayer&) { return true; }

bool TVVorlaneURLSession::playerShouldScanAtRate(TVSPlayer&, double) { return true; }

bool TVVorlaneURLSession::playerShouldChangeMediaInDirection(TVSPlayer&, int direction) {
  if (direction == static_cast<int>(TVSMediaDirection::Next)) _postEvent("userNext");
  if (direction == static_cast<int>(TVSMediaDirection::Previous)) _postEvent("userPrevious");
  return false;
}
