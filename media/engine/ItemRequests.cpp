#include "media/engine/ItemRequests.h"

#include <algorithm>
#include <utility>

#include "media/link/ClearKeyRequest.h"
#include "streaming/transfer/NetworkErrors.h"

namespace media {
namespace {

// A live stream may cause refusals without end.
constexpr std::size_t kMaxRefusals = 64;

/// The range is also a field of its own, so that items need not parse the header fields.
platform::Dictionary detailsOf(const streaming::ContentRequest& request) {
  platform::Dictionary details;
  details.set(platform::kCustomURLProviderRequestMethodKey, request.method);
  platform::Dictionary headers;
  for (const auto& [name, value] : request.headers) {
    headers.set(name, value);
    if (name == "Range") details.set(platform::kCustomURLProviderRequestRangeKey, value);
  }
  details.set(platform::kCustomURLProviderRequestHeadersKey, std::move(headers));
  return details;
}

streaming::ContentResponse responseOf(const platform::ResourceResponse& response) {
  streaming::ContentResponse result;
  result.redirectURL = response.redirectURL;
  result.data = response.data;
  if (!response.response) return result;
  result.statusCode = response.response->statusCode;
  for (const auto& [name, value] : response.response->headers) {
    const std::string* text = value.asString();
    result.headers.emplace_back(name, text ? *text : value.description());
  }
  return result;
}

/// Adds a description: errors of senders often have a code only.
platform::Error withDescription(platform::Error error) {
  if (error.localizedDescription || error.domain != platform::kURLErrorDomain) return error;
  return error.code > 0 ? streaming::httpError(static_cast<unsigned>(error.code))
                        : streaming::networkError(static_cast<platform::URLErrorCode>(error.code));
}

}  // namespace

ItemRequests::ItemRequests(platform::MainQueue& queue, std::shared_ptr<TVSMediaItem> item)
    : _queue(queue), _item(std::move(item)), _requests(queue) {}

std::shared_ptr<ItemRequests> ItemRequests::make(platform::MainQueue& queue,
                                                 std::shared_ptr<TVSMediaItem> item) {
  return std::shared_ptr<ItemRequests>(new ItemRequests(queue, std::move(item)));
}

std::function<void(streaming::ContentRequest, ItemRequests::Reply)> ItemRequests::requester() {
  return
      [&queue = _queue, weak = weak_from_this()](streaming::ContentRequest request, Reply reply) {
        queue.async([weak, request = std::move(request), reply = std::move(reply)] {
          if (const auto self = weak.lock()) self->_request(request, reply);
        });
      };
}

void ItemRequests::_request(const streaming::ContentRequest& request, const Reply& reply) {
  for (const auto& [refused, result] : _refusals)
    if (refused == request) return reply(result);
  const auto same = std::find_if(_pending.begin(), _pending.end(),
                                 [&](const Pending& each) { return each.request == request; });
  if (same != _pending.end()) {
    same->replies.push_back(reply);
    return;
  }
  _pending.push_back({request, {reply}});
  const auto completion = [this, request](const platform::ResourceResponse* response,
                                          const platform::Error* error) {
    streaming::ContentResponse result;
    if (response) result = responseOf(*response);
    if (error) result.error = withDescription(*error);
    _complete(request, result);
  };
  if (request.kind == streaming::ContentRequest::Kind::Resource) {
    _requests.load(*_item, request.url, detailsOf(request), completion);
    return;
  }
  const auto make = [](std::uint64_t identifier, std::string url, platform::Dictionary details,
                       platform::PendingRequests::Completion ended) {
    return std::make_shared<ClearKeyRequest>(identifier, std::move(url), std::move(details),
                                             std::move(ended));
  };
  _requests.loadKey(*_item, request.url, detailsOf(request), make, completion);
}

void ItemRequests::_complete(const streaming::ContentRequest& request,
                             const streaming::ContentResponse& result) {
  const auto found = std::find_if(_pending.begin(), _pending.end(),
                                  [&](const Pending& each) { return each.request == request; });
  const auto replies = std::move(found->replies);
  _pending.erase(found);
  if (result.error || (result.statusCode >= 400 && !result.data)) {
    _refusals.emplace_back(request, result);
    if (_refusals.size() > kMaxRefusals) _refusals.pop_front();
  }
  for (const Reply& reply : replies) reply(result);
}

}  // namespace media
