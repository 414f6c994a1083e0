#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "platform/foundation/queues/Queue.h"
#include "platform/media/PendingRequests.h"
#include "platform/media/TVSMediaItem.h"
#include "streaming/transfer/ItemSetup.h"

namespace media {

/// Sends requests for resources and keys to the media item, and its responses back.
///
/// A resource may be requested again while the first request is pending, after a seek, or after a
/// refusal. Equal pending requests are sent only once, and refusals are remembered.
///
/// Threads: the function that requester() returns may be called on any thread; everything else is
/// for the main thread, which also calls the replies. The destructor cancels the item's requests
/// and drops the replies.
class ItemRequests : public std::enable_shared_from_this<ItemRequests> {
 public:
  static std::shared_ptr<ItemRequests> make(platform::MainQueue& queue,
                                            std::shared_ptr<TVSMediaItem> item);

  using Reply = std::function<void(streaming::ContentResponse)>;
  /// Returns a function for streaming::ItemSetup::requestContent. It holds a weak reference.
  std::function<void(streaming::ContentRequest, Reply)> requester();

 private:
  struct Pending {
    streaming::ContentRequest request;
    std::vector<Reply> replies;
  };

  ItemRequests(platform::MainQueue& queue, std::shared_ptr<TVSMediaItem> item);
  void _request(const streaming::ContentRequest& request, const Reply& reply);
  void _complete(const streaming::ContentRequest& request,
                 const streaming::ContentResponse& result);

  platform::MainQueue& _queue;
  const std::shared_ptr<TVSMediaItem> _item;
  std::vector<Pending> _pending;
  std::deque<std::pair<streaming::ContentRequest, streaming::ContentResponse>>
      _refusals;  // newest last
  platform::PendingRequests _requests;
};

}  // namespace media
