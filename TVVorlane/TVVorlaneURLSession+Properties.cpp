// Properties and actions of a URL session, by the sender's names.

#include <array>

#include "TVVorlane/TVSPlayer+Vorlane.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneMediaItem.h"
#include "TVVorlane/TVVorlaneMetadataMonitor.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "platform/foundation/Assertion.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/TimedMetadataItem.h"

using platform::Dictionary;
using platform::Error;
using platform::MediaTime;
using platform::Value;

namespace {

using OptionalError = std::optional<Error>;

OptionalError badValue() { return Error::status(kTVVorlaneStatusBadValue); }
OptionalError wrongType() { return Error::status(kTVVorlaneStatusWrongType); }

/// A track ID, given directly or under "qualifier".
struct TrackQualifier {
  std::optional<std::uint32_t> trackID;  ///< nothing if the dictionary has no "qualifier"
  bool valid = false;
};

TrackQualifier trackQualifier(const Value& qualifier) {
  Value number = qualifier;
  if (const auto* dictionary = qualifier.asDictionary()) {
    number = dictionary->get("qualifier");
    if (number.isNone()) return {std::nullopt, true};
  }
  if (!number.asNumber()) return {};
  return {number.asNumber()->uint32Value(), true};
}

/// Writes one property that accepts a single type. Checks the types that validateParameters() does
/// not cover.
struct Writer {
  std::string_view property;
  OptionalError (*write)(TVSPlayer& player, const Value& value);
};

template <auto Set>
OptionalError writeEndTime(TVSPlayer& player, const Value& value) {
  // A value of kind None is an invalid time, which is accepted and ignored.
  if (value.isNone()) return std::nullopt;
  if (!value.asDictionary()) return wrongType();
  const auto time = MediaTime::fromDictionary(*value.asDictionary());
  if (time.isValid()) Set(player, time);
  return std::nullopt;
}

constexpr std::array kWriters = {
    Writer{"rate",
           [](TVSPlayer& player, const Value& value) -> OptionalError {
             if (!value.asNumber()) return wrongType();
             TVSPlayerVorlane::setPlayerRate(player, value.asNumber()->floatValue());
             return std::nullopt;
           }},
    Writer{"date",
           [](TVSPlayer& player, const Value& value) -> OptionalError {
             if (!value.asDate()) return wrongType();
             player.setPlaybackDate(*value.asDate());
             return std::nullopt;
           }},
    Writer{"forwardEndTime", writeEndTime<TVSPlayerVorlane::setForwardPlaybackEndTime>},
    Writer{"reverseEndTime", writeEndTime<TVSPlayerVorlane::setReversePlaybackEndTime>},
    Writer{"selectedMediaArray",
           [](TVSPlayer& player, const Value& value) -> OptionalError {
             if (!value.asArray()) return wrongType();
             TVSPlayerVorlane::setSelectedMediaArray(player, *value.asArray());
             return std::nullopt;
           }},
    Writer{"muted",
           [](TVSPlayer& player, const Value& value) -> OptionalError {
             if (!value.asNumber()) return wrongType();
             player.setMuted(value.asNumber()->boolValue());
             return std::nullopt;
           }},
    Writer{"volume",
           [](TVSPlayer& player, const Value& value) -> OptionalError {
             if (!value.asNumber()) return wrongType();
             player.setVolume(value.asNumber()->floatValue());
             return std::nullopt;
           }},
    Writer{"actionAtItemEnd",
           [](TVSPlayer& player, const Value& value) -> OptionalError {
             if (!value.asNumber()) return badValue();
             for (const auto action : {TVSMediaItemEndAction::Advance, TVSMediaItemEndAction::Pause,
                                       TVSMediaItemEndAction::None}) {
               if (*value.asNumber() == platform::Number(static_cast<int>(action)))
                 player.setMediaItemEndAction(action);
             }
             return std::nullopt;
           }},
    Writer{"textMarkupArray",
           [](TVSPlayer& player, const Value& value) -> OptionalError {
             if (!value.asArray()) return badValue();
             if (const auto item = player.currentMediaItem()) {
               item->setMetadata(platform::kMediaItemSubtitleStyles, value);
             }
             return std::nullopt;
           }},
};

}  // namespace

Value TVVorlaneURLSession::getProperty(const std::string& property, const Value& qualifier,
                                       OptionalError* error) {
  Value value;
  const OptionalError failure = _readProperty(property, qualifier, value);
  if (!failure) return value;
  TVSLogNotice(TVVLSession, "Error getting property:  %@, error: %@", property, failure);
  if (error) *error = failure;
  return {};
}

OptionalError TVVorlaneURLSession::_readProperty(const std::string& property,
                                                 const Value& qualifier, Value& value) {
  if (!_player) return Error::status(kTVVorlaneStatusNoPlayer);
  if (property == "playbackInfo") {
    value = TVSPlayerVorlane::playbackInfo(*_player);
  } else if (property == "playbackAccessLog") {
    value = TVSPlayerVorlane::accessLogArray(*_player);
  } else if (property == "playbackErrorLog") {
    value = TVSPlayerVorlane::errorLogArray(*_player);
  } else if (property == "timedMetadataArray") {
    value = TVSPlayerVorlane::timedMetadata(*_player);
  } else if (property == "enableTrack") {
    const TrackQualifier track = trackQualifier(qualifier);
    if (!track.valid) return wrongType();
    if (track.trackID) value = TVSPlayerVorlane::trackEnabled(*_player, *track.trackID);
  } else if (property == "selectedMediaArray") {
    value = TVSPlayerVorlane::selectedMediaArray(*_player);
  } else {
    TVSLogNotice(TVVLSession, "Get value for unsupported property:  %@", property);
    return Error::status(kTVVorlaneStatusUnsupported);
  }
  return std::nullopt;
}

bool TVVorlaneURLSession::setProperty(const std::string& property, const Value& qualifier,
                                      const Value& value, OptionalError* error) {
  if (!TVVorlaneUtilities::validateParameters(Dictionary{{property, value}}, error)) return false;
  const OptionalError failure = _writeProperty(property, qualifier, value);
  if (!failure) return true;
  TVSLogNotice(TVVLSession, "Error setting property:  %@, error: %@", property, failure);
  if (error) *error = failure;
  return false;
}

OptionalError TVVorlaneURLSession::_writeProperty(const std::string& property,
                                                  const Value& qualifier, const Value& value) {
  if (!_player) return Error::status(kTVVorlaneStatusNoPlayer);
  if (property == "position") {
    if (!value.asNumber()) return wrongType();
    return _setPosition(qualifier, *value.asNumber());
  }
  if (property == "enableTrack") {
    const TrackQualifier track = trackQualifier(qualifier);
    if (!track.valid || !value.asNumber()) return wrongType();
    if (track.trackID)
      TVSPlayerVorlane::setTrackEnabled(*_player, value.asNumber()->boolValue(), *track.trackID);
    return std::nullopt;
  }
  if (property == "metaData") {
    if (!value.asDictionary()) return badValue();
    _publishMetadata(*value.asDictionary());
    return std::nullopt;
  }
  for (const Writer& writer : kWriters) {
    if (writer.property == property) return writer.write(*_player, value);
  }
  return Error::status(kTVVorlaneStatusUnsupported);
}

OptionalError TVVorlaneURLSession::_setPosition(const Value& qualifier,
                                                const platform::Number& seconds) {
  if (const auto* dictionary = qualifier.asDictionary()) {
    const auto item =
        TVSPlayerVorlane::mediaItemForIdentifier(*_player, dictionary->string("uuid"));
    if (item && item != _player->currentMediaItem()) {
      item->setMetadata(platform::kMediaItemStartTime, seconds);
      return std::nullopt;
    }
  }
  TVSPlayerVorlane::setPlayerPosition(*_player, seconds.doubleValue());
  return std::nullopt;
}

void TVVorlaneURLSession::_publishMetadata(Dictionary metadata) {
  // The player's position and rate are more accurate than the sender's.
  metadata.set("elapsedTime", _player->elapsedTime());
  metadata.set("rate", _player->rate());
  TVVorlaneMetadataMonitor::updateWithParameters(metadata);
  _showMetadata(metadata);
}

void TVVorlaneURLSession::_showMetadata(const Dictionary& metadata) {
  const auto item = _player->currentMediaItem();
  if (!item) return;
  item->performMetadataTransaction([&] {
    if (const auto title = metadata.string("title"))
      item->setMetadata(platform::kMediaItemTitle, *title);
    if (const auto artist = metadata.string("artist"))
      item->setMetadata(platform::kMediaItemArtist, *artist);
  });
}

bool TVVorlaneURLSession::performAction(const std::string& action, const Value& options,
                                        std::optional<Dictionary>* outInfo, OptionalError* error) {
  if (!TVVorlaneUtilities::validateParameters(options, error)) return false;
  const OptionalError failure =
      _player ? _perform(action, options.asDictionary() ? *options.asDictionary() : Dictionary(),
                         outInfo)
              : Error::status(kTVVorlaneStatusNoPlayer);
  if (!failure) return true;
  if (error) {
    TVSLogNotice(TVVLSession, "Error performing action '%@':\n%@", action,
                 TVVorlaneUtilities::dataAbbreviatedDescription(options));
    *error = failure;
  }
  return false;
}

bool TVVorlaneURLSession::isFatalAction(const std::string& action,
                                        const Dictionary& options) const {
  if (!_player) return false;
  if (action == "playlistRemove") {
    // Values of the wrong type fail the validation and do not reach the assertion.
    const Value item = options.get("item");
    const auto* info = item.asDictionary();
    return item.isNone() || (info && !info->contains("uuid"));
  }
  if (action == "requestForStreamingKey") {
    const auto context = options.dictionary("requestContext").value_or(Dictionary());
    const auto identifier = context.number(platform::kCustomURLProviderRequestIDKey);
    const auto request = identifier ? _outstandingRequest(*identifier) : nullptr;
    return request && !std::dynamic_pointer_cast<TVSSecureKeyRequest>(request);
  }
  return false;
}

OptionalError TVVorlaneURLSession::_perform(const std::string& action, const Dictionary& options,
                                            std::optional<Dictionary>* outInfo) {
  OptionalError failure;
  if (action == "requestForStreamingKey") {
    const auto data = _handleKeyResponseWithOptions(options, &failure);
    if (data && outInfo) *outInfo = Dictionary{{"value", data}};
  } else if (action == "failedURLResponse") {
    _handleFailedURLResponseWithOptions(options, &failure);
  } else if (action == "playlistInsert") {
    failure = _insertPlaylistItem(options);
  } else if (action == "playlistRemove") {
    failure = _removePlaylistItem(options);
  }
  // Unknown actions succeed, so that newer senders work with older boxes.
  return failure;
}

OptionalError TVVorlaneURLSession::_insertPlaylistItem(const Dictionary& options) {
  OptionalError failure;
  const Value item = options.get("item");
  // Validates "item" twice, and "afterItem" never. An insert with an invalid "afterItem" succeeds.
  if (TVVorlaneUtilities::validateParameters(item, &failure) &&
      TVVorlaneUtilities::validateParameters(item, &failure)) {
    _insertItemWithInfo(item.asDictionary() ? *item.asDictionary() : Dictionary(),
                        options.get("afterItem"));
  }
  return failure;
}

OptionalError TVVorlaneURLSession::_removePlaylistItem(const Dictionary& options) {
  OptionalError failure;
  const Value item = options.get("item");
  if (!TVVorlaneUtilities::validateParameters(item, &failure)) return failure;
  const Dictionary info = item.asDictionary() ? *item.asDictionary() : Dictionary();
  if (!_removeItemWithInfo(info, &failure)) return failure;
  const Value uuid = info.get("uuid");
  _postEvent("itemRemoved",
             uuid.isNone() ? std::nullopt : std::optional(Dictionary{{"uuid", uuid}}));
  return std::nullopt;
}

void TVVorlaneURLSession::_insertItemWithInfo(const Dictionary& item, const Value&) {
  // Always appends. Senders insert items in playback order.
  const auto mediaItem = _mediaItemForParameters(_parametersWithAddedSessionOptions(item));
  _becomeResourceLoadingDelegateOf(mediaItem);
  _playlist->appendMediaItem(mediaItem);
}

bool TVVorlaneURLSession::_removeItemWithInfo(const Dictionary& item, OptionalError* error) {
  const auto uuid = item.string("uuid");
  if (!uuid) platform::assertionFailed(__func__, kSource, "uuid != nil");
  const auto& tracks = _playlist->trackList();
  for (std::size_t index = 0; index < tracks.size(); ++index) {
    if (!tracks[index]->metadataEquals(TVVorlaneMediaItemMetadataUUID, *uuid)) continue;
    // A request of the removed item may still be outstanding.
    _becomeResourceLoadingDelegateOf(tracks[index]);
    _playlist->removeMediaItemAtIndex(index);
    return true;
  }
  if (error) *error = Error::status(kTVVorlaneStatusNotFound);
  return false;
}
