#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TVVorlane/TVVorlaneResourceLoadingMediaItem.h"
#include "platform/media/TVSMediaItem.h"

/// The sender's identifier of an item. A string.
inline constexpr std::string_view TVVorlaneMediaItemMetadataUUID = "TVVorlaneMediaItemMetadataUUID";
inline constexpr std::string_view TVVorlaneMediaItemMetadataInfoID =
    "TVVorlaneMediaItemMetadataInfoID";

/// A media item that a sender has given by its URL.
class TVVorlaneMediaItem final : public TVSURLMediaItem, public TVVorlaneResourceLoadingMediaItem {
 public:
  using TVSURLMediaItem::TVSURLMediaItem;
  std::string className() const override { return "TVVorlaneMediaItem"; }

  /// Builds the platform's TLS settings for a pre-shared key. Returns nothing unless `identity` and
  /// `psk` are both present.
  static std::optional<platform::Dictionary> sslPropertiesForIdentity(
      const platform::Value& identity, const platform::Value& psk);

  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override;
  bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request) override;
};
