#pragma once

#include <memory>

#include "TVVorlane/TVVorlaneResourceLoadingMediaItemDelegate.h"
#include "platform/media/TVSMediaItem.h"

/// A media item that passes the player's resource requests on to a delegate, which it reads at the
/// time of each request. Main thread.
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
  /// The road of every request, whichever kind of item it came to. False for a request that has no
  /// identifier, which the delegate does not see.
  bool _forwardRequest(TVSMediaItem& item,
                       const std::shared_ptr<TVSResourceLoadingRequest>& request) const;

 private:
  std::weak_ptr<TVVorlaneResourceLoadingMediaItemDelegate> _resourceLoadingDelegate;
};
