#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "TVVorlane/TVVorlaneResourceLoadingMediaItem.h"
#include "platform/media/TVSStoreMediaItem.h"

/// A purchase from the store that the sender owns, made from the start parameters.
class TVVorlaneStoreMediaItem final : public TVSStoreMediaItem,
                                      public TVVorlaneResourceLoadingMediaItem {
 public:
  explicit TVVorlaneStoreMediaItem(const platform::Dictionary& params);
  std::string className() const override { return "TVVorlaneStoreMediaItem"; }

  static std::shared_ptr<TVSStoreDataItem> _dataItemForParameters(
      const platform::Dictionary& params);

  /// As the base class says, but never cached in the background.
  bool hasTrait(std::string_view trait) const override;
  /// Fills what `to` lacks from `from`; what `to` has wins.
  void mergePropertiesFromDataItem(const std::shared_ptr<TVSStoreDataItem>& from,
                                   const std::shared_ptr<TVSStoreDataItem>& to) override;

  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override;
  bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request) override;
};
