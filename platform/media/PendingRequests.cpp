#include "platform/media/PendingRequests.h"

#include <map>
#include <utility>

#include "platform/foundation/Token.h"
#include "platform/media/TVSMediaItem.h"

namespace platform {

namespace {

/// Unique in the process: a sender answers a request by its identifier, without naming the session.
std::uint64_t nextIdentifier() {
  static std::uint64_t last = 0;
  return ++last;
}

Error urlError(URLErrorCode code) {
  return {std::string(kURLErrorDomain), static_cast<std::int64_t>(code), {}, {}, {}};
}

Dictionary withKind(std::string_view kind, const Dictionary& details) {
  Dictionary result{{std::string(kCustomURLProviderRequestKindKey), kind}};
  for (const auto& [key, value] : details) result.set(key, value);
  return result;
}

}  // namespace

struct PendingRequests::State : std::enable_shared_from_this<State> {
  struct Entry {
    std::shared_ptr<TVSResourceLoadingRequest> request;
    Completion completion;
    Token timeLimit;
  };

  explicit State(MainQueue& mainQueue) : queue(mainQueue) {}

  Completion endOf(std::uint64_t identifier) {
    return [weak = weak_from_this(), identifier](const auto* response, const auto* error) {
      if (const auto self = weak.lock()) self->end(identifier, response, error);
    };
  }
  void end(std::uint64_t identifier, const ResourceResponse* response, const Error* error) {
    const auto found = entries.find(identifier);
    if (found == entries.end()) return;
    const Entry entry = std::move(found->second);
    entries.erase(found);
    // A later answer of the sender is ignored.
    entry.request->cancel();
    entry.completion(response, error);
  }
  void fail(std::uint64_t identifier, URLErrorCode code) {
    const Error error = urlError(code);
    end(identifier, nullptr, &error);
  }
  void add(std::uint64_t identifier, std::shared_ptr<TVSResourceLoadingRequest> request,
           Completion completion) {
    entries[identifier] = {
        std::move(request), std::move(completion),
        queue.after(kResourceRequestTimeLimit, [weak = weak_from_this(), identifier] {
          if (const auto self = weak.lock()) self->fail(identifier, URLErrorCode::TimedOut);
        })};
  }

  MainQueue& queue;
  std::map<std::uint64_t, Entry> entries;
};

PendingRequests::PendingRequests(MainQueue& queue) : _state(std::make_shared<State>(queue)) {}

PendingRequests::~PendingRequests() { cancelAll(); }

void PendingRequests::load(TVSMediaItem& item, std::string url, const Dictionary& details,
                           Completion completion) {
  const auto state = _state;
  const auto identifier = nextIdentifier();
  const auto request = std::make_shared<TVSResourceLoadingRequest>(
      identifier, std::move(url), withKind(kCustomURLProviderRequestKindResource, details),
      state->endOf(identifier));
  state->add(identifier, request, std::move(completion));
  if (!item.loadResourceForRequest(request)) state->fail(identifier, URLErrorCode::UnsupportedURL);
}

void PendingRequests::loadKey(TVSMediaItem& item, std::string url, const Dictionary& details,
                              const MakeKeyRequest& make, Completion completion) {
  const auto state = _state;
  const auto identifier = nextIdentifier();
  const auto request =
      make(identifier, std::move(url), withKind(kCustomURLProviderRequestKindKeyRequest, details),
           state->endOf(identifier));
  state->add(identifier, request, std::move(completion));
  item.loadStreamingKeyForRequest(request);
}

void PendingRequests::cancelAll() {
  for (const auto& [identifier, entry] : std::exchange(_state->entries, {}))
    entry.request->cancel();
}

std::size_t PendingRequests::count() const { return _state->entries.size(); }

}  // namespace platform
