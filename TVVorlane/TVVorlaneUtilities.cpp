#include "TVVorlane/TVVorlaneUtilities.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "platform/foundation/Assertion.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/TimedMetadataItem.h"

using platform::Value;

namespace {

using Kind = Value::Kind;

/// Required types of the parameters of the receiver interface. Other keys are not checked.
const std::unordered_map<std::string_view, Kind>& keyTypes() {
  static const std::unordered_map<std::string_view, Kind> table = {
      {"allowP2P", Kind::Number},
      {"appID", Kind::Data},
      {"assetID", Kind::Data},
      {"buyParams", Kind::String},
      {"cookies", Kind::Array},
      {"Content-Location", Kind::String},
      {"dsid", Kind::Number},
      {"errorInfo", Kind::Dictionary},
      {"host", Kind::String},
      {"itemID", Kind::Number},
      {"itemType", Kind::String},
      {"mediaKindOverride", Kind::String},
      {"outOfBandAlternateTracks", Kind::Array},
      {"path", Kind::String},
      {"playbackRestrictions", Kind::Number},
      {"purchaseBundle", Kind::Dictionary},
      {"purchasedMediaKind", Kind::String},
      {"remoteContext", Kind::Data},
      {"Start-Position", Kind::Number},
      {"Start-Date", Kind::Date},
      {"Start-Estimated-Date", Kind::Date},
      {"streamerGUID", Kind::String},
      {"rate", Kind::Number},
      {"tlsPSKClientIdentity", Kind::Data},
      {"tlsPSKEnabled", Kind::Number},
      {"tlsPSK", Kind::Data},
      {"X-Transmit-Date", Kind::String},
      {"value", Kind::String},
      {"url", Kind::String},
      {"userAgent", Kind::String},
      {"uuid", Kind::String},
      {"videoCacheClear", Kind::Number},
      {"audioOnly", Kind::Number},
      {"actionAtItemEnd", Kind::Number},
      {"date", Kind::Date},
      {"forwardEndTime", Kind::Dictionary},
      {"reverseEndTime", Kind::Dictionary},
      {"enableTrack", Kind::Number},
      {"metaData", Kind::Dictionary},
      {"muted", Kind::Number},
      {"timedMetadataArray", Kind::Array},
      {"playbackAccessLog", Kind::Array},
      {"playbackErrorLog", Kind::Array},
      {"item", Kind::Dictionary},
      {"selectedMediaArray", Kind::Array},
      {"serverInfo", Kind::Dictionary},
      {"streamType", Kind::Number},
      {"volume", Kind::Number},
      {"fpSessionID", Kind::Number},
      {"mz_at", Kind::Data},
      {"PD-Info", Kind::Data},
      {"PIC-Request", Kind::Data},
      {"PIC-Data", Kind::Data},
      {"Player-GUID", Kind::String},
      {"Play-Info", Kind::Data},
  };
  return table;
}

std::string_view offendingKey(const Value& params) {
  const auto* dictionary = params.asDictionary();
  if (!dictionary) return "inParams";
  for (const auto& [key, value] : *dictionary) {
    const auto known = keyTypes().find(key);
    if (known != keyTypes().end() && known->second != value.kind()) return key;
  }
  return {};
}

std::string abbreviatedData(const platform::Bytes& data) {
  return platform::formatLog("<...> %lu bytes", data.size());
}

Value withAbbreviatedData(const Value& value) {
  switch (value.kind()) {
    case Kind::Data:
      return abbreviatedData(*value.asData());
    case Kind::Dictionary:
    case Kind::Array:
      return TVVorlaneUtilities::_containerWithAbbreviatedData(value);
    default:
      return value;
  }
}

}  // namespace

bool TVVorlaneUtilities::validateParameters(const Value& params,
                                            std::optional<platform::Error>* error) {
  if (params.isNone()) return true;
  const std::string_view offender = offendingKey(params);
  if (offender.empty()) return true;
  TVSLogNotice(TVVLSession, "### Vorlane bad value for '%@' in params:\n%@", offender, params);
  if (error) *error = platform::Error::status(kTVVorlaneStatusWrongType);
  return false;
}

std::optional<platform::Dictionary> TVVorlaneUtilities::errorToDictionary(
    const std::optional<platform::Error>& error) {
  if (!error) return std::nullopt;
  platform::Dictionary dictionary;
  dictionary.set("code", error->code);
  if (!error->domain.empty()) dictionary.set("domain", error->domain);
  const auto setText = [&](std::string_view key, const std::optional<std::string>& text) {
    if (text) dictionary.set(key, *text);
  };
  setText(platform::kErrorLocalizedDescriptionKey, error->localizedDescription);
  setText(platform::kErrorLocalizedFailureReasonKey, error->localizedFailureReason);
  setText(platform::kErrorLocalizedRecoverySuggestionKey, error->localizedRecoverySuggestion);
  return dictionary;
}

platform::Array TVVorlaneUtilities::timedMetadataFromAVTimedMetadata(
    const platform::TimedMetadataList& items) {
  platform::Array result;
  for (const auto& item : items) {
    platform::Dictionary entry;
    entry.set("key", item.key);
    if (item.keySpace) entry.set("keyspace", *item.keySpace);
    if (item.localeIdentifier) entry.set("locale", *item.localeIdentifier);
    if (auto time = item.time.value_or(platform::MediaTime::zero()).toDictionary())
      entry.set("timestamp", *time);
    entry.set("value", item.value);
    entry.merge(item.extraAttributes);
    result.append(std::move(entry));
  }
  return result;
}

std::string TVVorlaneUtilities::dataAbbreviatedDescription(const Value& value) {
  const bool isContainer = value.asDictionary() || value.asArray();
  return isContainer ? _containerWithAbbreviatedData(value).description() : value.description();
}

Value TVVorlaneUtilities::_containerWithAbbreviatedData(const Value& container) {
  TVS_ASSERT(!container.isNone());
  if (const auto* dictionary = container.asDictionary()) {
    platform::Dictionary copy = *dictionary;
    for (const auto& [key, value] : *dictionary) {
      if (value.asData() || value.asDictionary() || value.asArray())
        copy.set(key, withAbbreviatedData(value));
    }
    return copy;
  }
  if (const auto* array = container.asArray()) {
    platform::Array copy = *array;
    for (std::size_t i = 0; i < array->size(); ++i) {
      const Value& value = (*array)[i];
      if (value.asData() || value.asDictionary() || value.asArray())
        copy.set(i, withAbbreviatedData(value));
    }
    return copy;
  }
  return container;
}
