#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "media/link/EngineMessages.h"
#include "platform/media/TVSMediaItem.h"
#include "platform/media/TVSResourceLoadingRequest.h"

namespace media {

/// The requests that the items of this process have handed to the box, until they are answered.
///
/// Threads: main.
class RemoteRequests {
 public:
  explicit RemoteRequests(std::function<void(const EngineEvent&)> send) : _send(std::move(send)) {}

  void ask(std::uint64_t itemID, bool isKey,
           const std::shared_ptr<TVSResourceLoadingRequest>& request);
  /// An answer to a question that was withdrawn does nothing.
  void answer(const AnswerCommand& answer);

 private:
  /// Tells the box which of the questions need no answer any more.
  void _withdrawFinished();

  const std::function<void(const EngineEvent&)> _send;
  std::map<std::uint64_t, std::shared_ptr<TVSResourceLoadingRequest>> _waiting;
};

/// A media item of the box as its media process sees it: what the engine reads of it, and requests
/// that go to the box.
std::shared_ptr<TVSMediaItem> makeRemoteMediaItem(std::uint64_t itemID,
                                                  const ItemDescription& description,
                                                  const std::shared_ptr<RemoteRequests>& requests);

}  // namespace media
