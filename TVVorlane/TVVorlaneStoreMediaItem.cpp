#include "TVVorlane/TVVorlaneStoreMediaItem.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/services/Platform.h"

using platform::Value;

namespace {

constexpr std::array kMergedProperties = {
    platform::kStoreAuthorizationToken,
    platform::kStoreBuyParameters,
    platform::kStoreAccountIdentifier,
    platform::kStoreUserAgent,
    platform::kStoreItemIdentifier,
    platform::kStoreOfferType,
    platform::kStoreCloudLibraryIdentifier,
    platform::kStorePlaybackURL,
    platform::kStoreIsStreaming,
    platform::kStoreMediaType,
};

/// RFC 4648, without line breaks.
std::string base64(const platform::Bytes& data) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((data.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < data.size(); i += 3) {
    const auto byteAt = [&](std::size_t at) {
      return at < data.size() ? std::to_integer<std::uint32_t>(data[at]) : std::uint32_t{0};
    };
    const std::uint32_t group = byteAt(i) << 16 | byteAt(i + 1) << 8 | byteAt(i + 2);
    text += kAlphabet[group >> 18 & 63];
    text += kAlphabet[group >> 12 & 63];
    text += i + 1 < data.size() ? kAlphabet[group >> 6 & 63] : '=';
    text += i + 2 < data.size() ? kAlphabet[group & 63] : '=';
  }
  return text;
}

std::string_view mediaType(bool audioOnly, std::string_view kind) {
  if (audioOnly || kind == "music") return platform::kStoreMediaTypeAudio;
  if (kind == "tvshow") return platform::kStoreMediaTypeTVShow;
  if (kind == "musicvideo") return platform::kStoreMediaTypeMusicVideo;
  return platform::kStoreMediaTypeMovie;
}

}  // namespace

TVVorlaneStoreMediaItem::TVVorlaneStoreMediaItem(const platform::Dictionary& params)
    : TVSStoreMediaItem(_dataItemForParameters(params)) {}

std::shared_ptr<TVSStoreDataItem> TVVorlaneStoreMediaItem::_dataItemForParameters(
    const platform::Dictionary& params) {
  const std::string kind = params.string("purchasedMediaKind").value_or("");
  const std::string itemType = params.string("itemType").value_or("");

  const auto record = platform::Platform::current().cloudData().makeDataItem();
  record->beginTransaction();
  if (const auto token = params.data("mz_at"))
    record->setProperty(platform::kStoreAuthorizationToken, base64(*token));
  record->setProperty(platform::kStoreBuyParameters, params.get("buyParams"));
  record->setProperty(platform::kStoreAccountIdentifier, params.get("dsid"));
  record->setProperty(platform::kStoreUserAgent, params.get("userAgent"));
  record->setProperty(platform::kStoreItemIdentifier, params.get("itemID"));
  if (itemType == "match") {
    record->setProperty(platform::kStoreOfferType, platform::kStoreOfferTypePaidRedownload);
    record->setProperty(platform::kStoreCloudLibraryIdentifier, params.get("itemID"));
  } else if (itemType == "purchased") {
    const bool bought = kind == "tvshow" || kind == "movie";
    record->setProperty(platform::kStoreOfferType, bought ? platform::kStoreOfferTypeBuy
                                                          : platform::kStoreOfferTypeRedownload);
    record->setProperty(platform::kStoreCloudLibraryIdentifier, std::int32_t{0});
  }
  record->setProperty(platform::kStorePlaybackURL, params.get("Content-Location"));
  // The record has no separate property for the inherited query component.
  record->setProperty(platform::kStoreIsStreaming,
                      params.get("inheritURIQueryComponentFromReferencingURI"));
  record->setProperty(platform::kStoreMediaType, mediaType(params.boolean("audioOnly"), kind));
  record->commitTransaction();
  return record;
}

bool TVVorlaneStoreMediaItem::hasTrait(std::string_view trait) const {
  return trait != platform::kMediaItemTraitCachesInBackground && TVSStoreMediaItem::hasTrait(trait);
}

void TVVorlaneStoreMediaItem::mergePropertiesFromDataItem(
    const std::shared_ptr<TVSStoreDataItem>& from, const std::shared_ptr<TVSStoreDataItem>& to) {
  if (!from || !to) return;
  to->beginTransaction();
  for (const std::string_view key : kMergedProperties) {
    if (to->property(key).isNone()) to->setProperty(key, from->property(key));
  }
  to->commitTransaction();
}

void TVVorlaneStoreMediaItem::loadStreamingKeyForRequest(
    const std::shared_ptr<TVSSecureKeyRequest>& request) {
  _forwardRequest(*this, request);
}

bool TVVorlaneStoreMediaItem::loadResourceForRequest(
    const std::shared_ptr<TVSResourceLoadingRequest>& request) {
  return _forwardRequest(*this, request);
}
