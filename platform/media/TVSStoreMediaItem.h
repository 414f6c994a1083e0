#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/media/TVSMediaItem.h"

namespace platform {
class TVSCloudDataClient;

// Properties of a store data record, in the order in which records are merged.
inline constexpr std::string_view kStoreAuthorizationToken = "TVSStoreAuthorizationToken";
inline constexpr std::string_view kStoreBuyParameters = "TVSStoreBuyParameters";
inline constexpr std::string_view kStoreAccountIdentifier = "TVSStoreAccountIdentifier";
inline constexpr std::string_view kStoreUserAgent = "TVSStoreUserAgent";
inline constexpr std::string_view kStoreItemIdentifier = "TVSStoreItemIdentifier";
inline constexpr std::string_view kStoreOfferType = "TVSStoreOfferType";
inline constexpr std::string_view kStoreCloudLibraryIdentifier = "TVSStoreCloudLibraryIdentifier";
inline constexpr std::string_view kStorePlaybackURL = "TVSStorePlaybackURL";
inline constexpr std::string_view kStoreIsStreaming = "TVSStoreIsStreaming";
inline constexpr std::string_view kStoreMediaType = "TVSStoreMediaType";

inline constexpr std::string_view kStoreOfferTypeBuy = "buy";
inline constexpr std::string_view kStoreOfferTypeRedownload = "redownload";
inline constexpr std::string_view kStoreOfferTypePaidRedownload = "paidRedownload";

inline constexpr std::string_view kStoreMediaTypeMovie = "movie";
inline constexpr std::string_view kStoreMediaTypeTVShow = "tvShow";
inline constexpr std::string_view kStoreMediaTypeAudio = "audio";
inline constexpr std::string_view kStoreMediaTypeMusicVideo = "musicVideo";
}  // namespace platform

/// What the store knows of a purchase: a bag of properties that changes in transactions. Main
/// thread.
class TVSStoreDataItem : public platform::Object {
 public:
  std::string className() const override { return "TVSStoreDataItem"; }
  platform::Value property(std::string_view key) const { return _committed.get(key); }
  /// Inside a transaction only (asserted). A value that holds nothing clears the property.
  void setProperty(std::string_view key, platform::Value value);
  /// Transactions do not nest (asserted).
  void beginTransaction();
  void commitTransaction();

 private:
  platform::Dictionary _committed;
  platform::Dictionary _pending;
  bool _inTransaction = false;
};

/// A purchase from the store; plays from its record's playback URL.
class TVSStoreMediaItem : public TVSMediaItem {
 public:
  explicit TVSStoreMediaItem(std::shared_ptr<TVSStoreDataItem> dataItem);
  std::string className() const override { return "TVSStoreMediaItem"; }
  std::string url() const override;
  /// Store items may be cached, in the background too, unless a subclass says otherwise.
  bool hasTrait(std::string_view trait) const override;
  const std::shared_ptr<TVSStoreDataItem>& dataItem() const { return _dataItem; }

  /// Called when two records of the same purchase meet. Does nothing here.
  virtual void mergePropertiesFromDataItem(const std::shared_ptr<TVSStoreDataItem>& from,
                                           const std::shared_ptr<TVSStoreDataItem>& to);

 private:
  std::shared_ptr<TVSStoreDataItem> _dataItem;
};
