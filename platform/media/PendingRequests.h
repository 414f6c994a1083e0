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

// Further keys of TVSResourceLoadingRequest::dictionaryRepresentation().

/// The kind of the request, which determines the expected answer.
inline constexpr std::string_view kCustomURLProviderRequestKindKey = "FCUP_Request_Kind";
inline constexpr std::string_view kCustomURLProviderRequestKindResource = "resource";
inline constexpr std::string_view kCustomURLProviderRequestKindKeyRequest = "key";
/// HTTP requests only: the method, the headers (a dictionary of strings), and the Range header.
inline constexpr std::string_view kCustomURLProviderRequestMethodKey = "FCUP_Request_HTTPMethod";
inline constexpr std::string_view kCustomURLProviderRequestHeadersKey = "FCUP_Request_Headers";
inline constexpr std::string_view kCustomURLProviderRequestRangeKey = "FCUP_Request_Range";

/// The time limit for the answer to a request.
inline constexpr Duration kResourceRequestTimeLimit = std::chrono::seconds(30);

/// The pending requests of an engine to media items. Assigns identifiers, delivers the answers, and
/// cancels requests that exceed the time limit.
///
/// A completion is called exactly once, with a response or an error, or never if the request is
/// cancelled. It may be called during load(). It may call any function and destroy this object.
///
/// Errors: UnsupportedURL if the item does not accept the request, TimedOut after
/// kResourceRequestTimeLimit, otherwise the error of the answer.
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

  /// Requests the resource `url` from `item`. `details` are added to the dictionary representation
  /// of the request.
  void load(TVSMediaItem& item, std::string url, const Dictionary& details, Completion completion);
  /// Requests a content key from `item`. `make` creates the request object.
  void loadKey(TVSMediaItem& item, std::string url, const Dictionary& details,
               const MakeKeyRequest& make, Completion completion);
  void cancelAll();
  std::size_t count() const;

 private:
  struct State;

  // Shared, because requests may outlive this object.
  std::shared_ptr<State> _state;
};

}  // namespace platform
