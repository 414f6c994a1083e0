#pragma once

#include <memory>

#include "platform/media/TVSResourceLoadingRequest.h"

class TVSMediaItem;

/// Is handed what the player could not load itself. Main thread.
class TVVorlaneResourceLoadingMediaItemDelegate {
 public:
  virtual ~TVVorlaneResourceLoadingMediaItemDelegate() = default;
  /// `request` has an identifier; a content key is a TVSSecureKeyRequest.
  virtual void mediaItem(TVSMediaItem& item,
                         const std::shared_ptr<TVSResourceLoadingRequest>& didRequestResource) = 0;
};
