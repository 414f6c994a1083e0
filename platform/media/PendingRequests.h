#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/foundation/queues/Queue.h"
#include "platform/media/TVSResourceLoadingRequest.h"

class TVSMediaItem;

namespace platform {

// Details of a load in a request's dictionary representation, beside its identifier and URL.

/// What is asked for, and with it which answer is expected.
inline constexpr std::string_view kCustomURLProviderRequestKindKey = "FCUP_Request_Kind";
inline constexpr std::string_view kCustomURLProviderRequestKindResource = "resource";
inline constexpr std::string_view kCustomURLProviderRequestKindKeyRequest = "key";
/// How it is asked for, where the player speaks HTTP: the method, the header fields (a dictionary
/// of texts), and of those the range on its own.
inline constexpr std::string_view kCustomURLProviderRequestMethodKey = "FCUP_Request_HTTPMethod";
inline constexpr std::string_view kCustomURLProviderRequestHeadersKey = "FCUP_Request_Headers";
inline constexpr std::string_view kCustomURLProviderRequestRangeKey = "FCUP_Request_Range";

/// How long somebody who took a request may take to answer it.
inline constexpr Duration kResourceRequestTimeLimit = std::chrono::seconds(30);

/// The requests that an engine has handed to media items and that are not answered yet: gives them
/// their identifiers, hears their end, and gives up what takes too long.
///
/// A completion is called exactly once, with a response or with an error, unless the request is
/// cancelled: then never. It may be called inside load(), where the item answers at once, and may
/// do anything, this object's destruction included.
///
/// Errors: UnsupportedURL when the item does not take a request, TimedOut when it is not answered
/// within kResourceRequestTimeLimit, otherwise whatever the answer says.
///
/// Threads: main.
class PendingRequests {
 public:
  using Completion = TVSResourceLoadingRequest::Completion;
  using MakeKeyRequest = std::function<std::shared_ptr<TVSSecureKeyRequest>(
      std::uint64_t identifier, std::string url, Dictionary details, Completion ended)>;

  explicit PendingRequests(MainQueue& queue);
  ~PendingRequests();
  PendingRequests(const PendingRequests&) = delete;
  PendingRequests& operator=(const PendingRequests&) = delete;

  /// Asks `item` for what is at `url`; `details` go into the request's dictionary representation
  /// beside its kind.
  void load(TVSMediaItem& item, std::string url, const Dictionary& details, Completion completion);
  /// Asks `item` for a content key; `make` makes the engine's own kind of request.
  void loadKey(TVSMediaItem& item, std::string url, const Dictionary& details,
               const MakeKeyRequest& make, Completion completion);
  /// Nobody waits for an answer any more.
  void cancelAll();
  std::size_t count() const;

 private:
  struct State;

  // Shared with the requests, which may outlive it.
  std::shared_ptr<State> _state;
};

}  // namespace platform
