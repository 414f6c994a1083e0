#pragma once

#include <memory>

#include "platform/media/TVSResourceLoadingRequest.h"

class TVSMediaItem;

/// Receives the requests for resources that the player cannot load itself. Main thread.
class TVVorlaneResourceLoadingMediaItemDelegate {
 public:
  virtual ~TVVorlaneResourceLoadingMediaItemDelegate() = default;
  /// `request` has an identifier. A request for a content key is a TVSSecureKeyRequest.
  virtual void mediaItem(TVSMediaItem& item,
                         const std::shared_ptr<TVSResourceLoadingRequest>& didRequestResource) = 0;
};
