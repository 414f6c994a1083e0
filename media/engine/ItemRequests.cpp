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
platform::Dictionary detailsOf(const streaming::ContentRequest& question) {
  platform::Dictionary details;
  details.set(platform::kCustomURLProviderRequestMethodKey, question.method);
  platform::Dictionary headers;
  for (const auto& [name, value] : question.headers) {
    headers.set(name, value);
    if (name == "Range") details.set(platform::kCustomURLProviderRequestRangeKey, value);
  }
  details.set(platform::kCustomURLProviderRequestHeadersKey, std::move(headers));
  return details;
}

streaming::ContentResponse answerOf(const platform::ResourceResponse& response) {
  streaming::ContentResponse answer;
  answer.redirectURL = response.redirectURL;
  answer.data = response.data;
  if (!response.response) return answer;
  answer.statusCode = response.response->statusCode;
  for (const auto& [name, value] : response.response->headers) {
    const std::string* text = value.asString();
    answer.headers.emplace_back(name, text ? *text : value.description());
  }
  return answer;
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
      [&queue = _queue, weak = weak_from_this()](streaming::ContentRequest question, Reply reply) {
        queue.async([weak, question = std::move(question), reply = std::move(reply)] {
          if (const auto self = weak.lock()) self->_request(question, reply);
        });
      };
}

void ItemRequests::_request(const streaming::ContentRequest& question, const Reply& reply) {
  for (const auto& [refused, answer] : _refusals)
    if (refused == question) return reply(answer);
  const auto same = std::find_if(_pending.begin(), _pending.end(),
                                 [&](const Pending& each) { return each.question == question; });
  if (same != _pending.end()) {
    same->replies.push_back(reply);
    return;
  }
  _pending.push_back({question, {reply}});
  const auto completion = [this, question](const platform::ResourceResponse* response,
                                           const platform::Error* error) {
    streaming::ContentResponse answer;
    if (response) answer = answerOf(*response);
    if (error) answer.error = withDescription(*error);
    _complete(question, answer);
  };
  if (question.kind == streaming::ContentRequest::Kind::Resource) {
    _requests.load(*_item, question.url, detailsOf(question), completion);
    return;
  }
  const auto make = [](std::uint64_t identifier, std::string url, platform::Dictionary details,
                       platform::PendingRequests::Completion ended) {
    return std::make_shared<ClearKeyRequest>(identifier, std::move(url), std::move(details),
                                             std::move(ended));
  };
  _requests.loadKey(*_item, question.url, detailsOf(question), make, completion);
}

void ItemRequests::_complete(const streaming::ContentRequest& question,
                             const streaming::ContentResponse& answer) {
  const auto found = std::find_if(_pending.begin(), _pending.end(),
                                  [&](const Pending& each) { return each.question == question; });
  const auto replies = std::move(found->replies);
  _pending.erase(found);
  if (answer.error || (answer.statusCode >= 400 && !answer.data)) {
    _refusals.emplace_back(question, answer);
    if (_refusals.size() > kMaxRefusals) _refusals.pop_front();
  }
  for (const Reply& reply : replies) reply(answer);
}

}  // namespace media
