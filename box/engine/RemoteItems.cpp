#include "box/engine/RemoteItems.h"

#include <array>
#include <string_view>
#include <utility>

#include "media/link/ClearKeyRequest.h"
#include "platform/media/MediaItemKeys.h"
#include "platform/media/TVSStoreMediaItem.h"

namespace box {
namespace {

constexpr std::size_t kMaxRequests = 256;

constexpr std::array kTraits = {platform::kMediaItemTraitInheritsURIQueryComponent,
                                platform::kMediaItemTraitUsesDiskCache,
                                platform::kMediaItemTraitCachesInBackground};
constexpr std::array kMetadataKeys = {platform::kMediaItemAlternateTracks,
                                      platform::kMediaItemUserAgent, platform::kMediaItemCookies,
                                      platform::kMediaItemTLSSettings};
constexpr std::array kPurchaseProperties = {
    platform::kStoreUserAgent, platform::kStoreAuthorizationToken,
    platform::kStoreAccountIdentifier, platform::kStorePlaybackURL};

}  // namespace

RemoteItems::RemoteItems(platform::MainQueue& queue, Respond respond)
    : _queue(queue), _respond(std::move(respond)) {}

std::uint64_t RemoteItems::identify(const std::shared_ptr<TVSMediaItem>& item) {
  std::erase_if(_items, [](const auto& each) { return each.second.expired(); });
  for (const auto& [number, known] : _items)
    if (known.lock() == item) return number;
  _items[++_lastID] = item;
  return _lastID;
}

media::ItemDescription RemoteItems::describe(const TVSMediaItem& item) {
  media::ItemDescription description;
  description.url = item.url();
  for (const std::string_view trait : kTraits)
    if (item.hasTrait(trait)) description.traits.emplace_back(trait);
  for (const std::string_view key : kMetadataKeys)
    if (auto value = item.metadata(key)) description.metadata.set(key, std::move(value));
  const auto* const purchase = dynamic_cast<const TVSStoreMediaItem*>(&item);
  if (!purchase) return description;
  platform::Dictionary properties;
  for (const std::string_view key : kPurchaseProperties)
    if (auto value = purchase->dataItem()->property(key)) properties.set(key, std::move(value));
  description.purchase = std::move(properties);
  return description;
}

void RemoteItems::request(const media::ItemRequestEvent& event) {
  const auto found = _items.find(event.itemID);
  const auto item = found == _items.end() ? nullptr : found->second.lock();
  if (!item || _requests.size() >= kMaxRequests) {
    media::ItemResponseCommand refusal{.requestID = event.requestID, .response = {}, .error = {}};
    refusal.error =
        platform::Error{std::string(platform::kURLErrorDomain),
                        static_cast<std::int64_t>(platform::URLErrorCode::UnsupportedURL),
                        {},
                        {},
                        {}};
    return _respond(refusal);
  }
  const auto requests = std::make_shared<platform::PendingRequests>(_queue);
  _requests[event.requestID] = requests;
  const auto completion = [this, number = event.requestID](
                              const platform::ResourceResponse* response,
                              const platform::Error* error) {
    // Keep the requests alive: this is called from one of their callbacks.
    const auto held = _requests.extract(number);
    media::ItemResponseCommand command{.requestID = number, .response = {}, .error = {}};
    if (response) command.response = *response;
    if (error) command.error = *error;
    _respond(command);
  };
  platform::Dictionary details = event.details;
  details.remove(platform::kCustomURLProviderRequestKindKey);
  if (!event.isKey) return requests->load(*item, event.url, details, completion);
  const auto make = [](std::uint64_t identifier, std::string url, platform::Dictionary all,
                       platform::PendingRequests::Completion ended) {
    return std::make_shared<media::ClearKeyRequest>(identifier, std::move(url), std::move(all),
                                                    std::move(ended));
  };
  requests->loadKey(*item, event.url, details, make, completion);
}

void RemoteItems::cancel(const media::CancelRequestEvent& event) {
  _requests.erase(event.requestID);
}

}  // namespace box
