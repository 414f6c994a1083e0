#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "media/link/EngineMessages.h"
#include "platform/media/TVSMediaItem.h"
#include "platform/media/TVSResourceLoadingRequest.h"

namespace media {

/// The pending requests that items of this process have sent to the box.
///
/// Threads: main.
class RemoteRequests {
 public:
  explicit RemoteRequests(std::function<void(const EngineEvent&)> send) : _send(std::move(send)) {}

  void sendRequest(std::uint64_t itemID, bool isKey,
                   const std::shared_ptr<TVSResourceLoadingRequest>& request);
  /// Ignores the response to a cancelled request.
  void handleResponse(const ItemResponseCommand& command);

 private:
  /// Cancels the requests that have finished without a response of the box.
  void _cancelFinished();

  const std::function<void(const EngineEvent&)> _send;
  std::map<std::uint64_t, std::shared_ptr<TVSResourceLoadingRequest>> _pending;
};

/// Creates the counterpart of an item of the box. It has the data that the engine reads and sends
/// requests to the box.
std::shared_ptr<TVSMediaItem> makeRemoteMediaItem(std::uint64_t itemID,
                                                  const ItemDescription& description,
                                                  const std::shared_ptr<RemoteRequests>& requests);

}  // namespace media
