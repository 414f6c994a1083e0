#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "media/link/EngineMessages.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/PendingRequests.h"
#include "platform/media/TVSMediaItem.h"

namespace box {

/// Maps media items to the numbers that a media process uses for them, and forwards the resource
/// and key requests of the process to the items. Thread: main. After clear() no request is
/// answered.
class RemoteItems {
 public:
  using Respond = std::function<void(const media::ItemResponseCommand&)>;

  RemoteItems(platform::MainQueue& queue, Respond respond);

  /// Returns the number of the item. It is the same for as long as the item lives.
  std::uint64_t identify(const std::shared_ptr<TVSMediaItem>& item);
  static media::ItemDescription describe(const TVSMediaItem& item);

  /// Forwards a request to its item. If the item no longer exists, the response is an error.
  void request(const media::ItemRequestEvent& event);
  void cancel(const media::CancelRequestEvent& event);
  /// Cancels all requests, because the process has ended.
  void clear() { _requests.clear(); }

 private:
  platform::MainQueue& _queue;
  const Respond _respond;
  std::map<std::uint64_t, std::weak_ptr<TVSMediaItem>> _items;
  std::uint64_t _lastID = 0;
  /// One object for each request, so that each can be cancelled alone.
  std::map<std::uint64_t, std::shared_ptr<platform::PendingRequests>> _requests;
};

}  // namespace box
