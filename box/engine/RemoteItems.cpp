#include "box/engine/RemoteItems.h"

#include <array>
#include <string_view>
#include <utility>

#include "media/link/ClearKeyRequest.h"
#include "platform/media/MediaItemKeys.h"
#include "platform/media/TVSStoreMediaItem.h"

namespace box {
namespace {

constexpr std::size_t kMostQuestions = 256;

constexpr std::array kTraits = {platform::kMediaItemTraitInheritsURIQueryComponent,
                                platform::kMediaItemTraitUsesDiskCache,
                                platform::kMediaItemTraitCachesInBackground};
constexpr std::array kMetadata = {platform::kMediaItemAlternateTracks,
                                  platform::kMediaItemUserAgent, platform::kMediaItemCookies,
                                  platform::kMediaItemTLSSettings};
constexpr std::array kPurchase = {platform::kStoreUserAgent, platform::kStoreAuthorizationToken,
                                  platform::kStoreAccountIdentifier, platform::kStorePlaybackURL};

}  // namespace

RemoteItems::RemoteItems(platform::MainQueue& queue, Answer answer)
    : _queue(queue), _answer(std::move(answer)) {}

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
  for (const std::string_view key : kMetadata)
    if (auto value = item.metadata(key)) description.metadata.set(key, std::move(value));
  const auto* const purchase = dynamic_cast<const TVSStoreMediaItem*>(&item);
  if (!purchase) return description;
  platform::Dictionary properties;
  for (const std::string_view key : kPurchase)
    if (auto value = purchase->dataItem()->property(key)) properties.set(key, std::move(value));
  description.purchase = std::move(properties);
  return description;
}

void RemoteItems::ask(const media::ItemRequestEvent& question) {
  const auto found = _items.find(question.itemID);
  const auto item = found == _items.end() ? nullptr : found->second.lock();
  if (!item || _questions.size() >= kMostQuestions) {
    media::ItemResponseCommand refusal{
        .requestID = question.requestID, .response = {}, .error = {}};
    refusal.error =
        platform::Error{std::string(platform::kURLErrorDomain),
                        static_cast<std::int64_t>(platform::URLErrorCode::UnsupportedURL),
                        {},
                        {},
                        {}};
    return _answer(refusal);
  }
  const auto requests = std::make_shared<platform::PendingRequests>(_queue);
  _questions[question.requestID] = requests;
  const auto completion = [this, number = question.requestID](
                              const platform::ResourceResponse* response,
                              const platform::Error* error) {
    // The requests are in the middle of this call.
    const auto held = _questions.extract(number);
    media::ItemResponseCommand answer{.requestID = number, .response = {}, .error = {}};
    if (response) answer.response = *response;
    if (error) answer.error = *error;
    _answer(answer);
  };
  platform::Dictionary details = question.details;
  details.remove(platform::kCustomURLProviderRequestKindKey);
  if (!question.isKey) return requests->load(*item, question.url, details, completion);
  const auto make = [](std::uint64_t identifier, std::string url, platform::Dictionary all,
                       platform::PendingRequests::Completion ended) {
    return std::make_shared<media::ClearKeyRequest>(identifier, std::move(url), std::move(all),
                                                    std::move(ended));
  };
  requests->loadKey(*item, question.url, details, make, completion);
}

void RemoteItems::withdraw(const media::CancelRequestEvent& withdrawn) {
  _questions.erase(withdrawn.requestID);
}

}  // namespace box
