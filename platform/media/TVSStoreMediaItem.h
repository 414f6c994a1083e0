#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/media/TVSMediaItem.h"

namespace platform {
class TVSCloudDataClient;

// Properties of TVSStoreDataItem, in the order in which they are merged.
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

/// The purchase record of the store: properties that are changed in transactions. Main thread.
class TVSStoreDataItem : public platform::Object {
 public:
  std::string className() const override { return "TVSStoreDataItem"; }
  platform::Value property(std::string_view key) const;
  /// Only in a transaction (asserted). A value of kind None removes the property.
  void setProperty(std::string_view key, platform::Value value);
  /// Transactions do not nest (asserted).
  void beginTransaction();
  void commitTransaction();

 private:
  platform::Dictionary _committed;
  platform::Dictionary _pending;
  bool _inTransaction = false;
};

/// A media item of a store purchase. Its URL is the playback URL of the purchase record.
class TVSStoreMediaItem : public TVSMediaItem {
 public:
  explicit TVSStoreMediaItem(std::shared_ptr<TVSStoreDataItem> dataItem);
  std::string className() const override { return "TVSStoreMediaItem"; }
  std::string url() const override;
  /// Store items allow caching, also in the background. Subclasses may override this.
  bool hasTrait(std::string_view trait) const override;
  const std::shared_ptr<TVSStoreDataItem>& dataItem() const { return _dataItem; }

  /// Merges two records of the same purchase. The default implementation does nothing.
  virtual void mergePropertiesFromDataItem(const std::shared_ptr<TVSStoreDataItem>& from,
                                           const std::shared_ptr<TVSStoreDataItem>& to);

 private:
  std::shared_ptr<TVSStoreDataItem> _dataItem;
};
