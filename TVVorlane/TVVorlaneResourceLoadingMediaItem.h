#pragma once

#include <memory>

#include "TVVorlane/TVVorlaneResourceLoadingMediaItemDelegate.h"
#include "platform/media/TVSMediaItem.h"

/// A media item that forwards the player's resource requests to a delegate. Main thread.
class TVVorlaneResourceLoadingMediaItem {
 public:
  virtual ~TVVorlaneResourceLoadingMediaItem() = default;

  std::shared_ptr<TVVorlaneResourceLoadingMediaItemDelegate> resourceLoadingDelegate() const {
    return _resourceLoadingDelegate.lock();
  }
  void setResourceLoadingDelegate(
      std::weak_ptr<TVVorlaneResourceLoadingMediaItemDelegate> delegate) {
    _resourceLoadingDelegate = std::move(delegate);
  }

 protected:
  /// Forwards `request` to the delegate. Returns false for a request without an identifier, which
  /// is not forwarded.
  bool _forwardRequest(TVSMediaItem& item,
                       const std::shared_ptr<TVSResourceLoadingRequest>& request) const;

 private:
  std::weak_ptr<TVVorlaneResourceLoadingMediaItemDelegate> _resourceLoadingDelegate;
};
