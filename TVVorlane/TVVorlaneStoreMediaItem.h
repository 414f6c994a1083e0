#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "TVVorlane/TVVorlaneResourceLoadingMediaItem.h"
#include "platform/media/TVSStoreMediaItem.h"

/// A purchase of the sender from the store, created from the start parameters.
class TVVorlaneStoreMediaItem final : public TVSStoreMediaItem,
                                      public TVVorlaneResourceLoadingMediaItem {
 public:
  explicit TVVorlaneStoreMediaItem(const platform::Dictionary& params);
  std::string className() const override { return "TVVorlaneStoreMediaItem"; }

  static std::shared_ptr<TVSStoreDataItem> _dataItemForParameters(
      const platform::Dictionary& params);

  /// Like the base class, but never allows background caching.
  bool hasTrait(std::string_view trait) const override;
  /// Copies from `from` the properties that `to` does not have.
  void mergePropertiesFromDataItem(const std::shared_ptr<TVSStoreDataItem>& from,
                                   const std::shared_ptr<TVSStoreDataItem>& to) override;

  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override;
  bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request) override;
};
