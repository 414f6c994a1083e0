#include "media/process/RemoteMediaItem.h"

#include <algorithm>
#include <utility>

#include "platform/media/TVSStoreMediaItem.h"

namespace media {
namespace {

/// `Base` is the class of the item in the box.
template <typename Base>
class RemoteMediaItem final : public Base {
 public:
  template <typename... Arguments>
  RemoteMediaItem(std::uint64_t itemID, const ItemDescription& description,
                  std::shared_ptr<RemoteRequests> requests, Arguments&&... arguments)
      : Base(std::forward<Arguments>(arguments)...),
        _itemID(itemID),
        _url(description.url),
        _traits(description.traits),
        _requests(std::move(requests)) {
    for (const auto& [key, value] : description.metadata) this->setMetadata(key, value);
  }

  std::string url() const override { return _url; }
  bool hasTrait(std::string_view trait) const override {
    return std::find(_traits.begin(), _traits.end(), trait) != _traits.end();
  }
  bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request) override {
    _requests->sendRequest(_itemID, false, request);
    return true;
  }
  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override {
    _requests->sendRequest(_itemID, true, request);
  }

 private:
  const std::uint64_t _itemID;
  const std::string _url;
  const std::vector<std::string> _traits;
  const std::shared_ptr<RemoteRequests> _requests;
};

std::shared_ptr<TVSStoreDataItem> purchaseOf(const platform::Dictionary& properties) {
  auto purchase = std::make_shared<TVSStoreDataItem>();
  purchase->beginTransaction();
  for (const auto& [key, value] : properties) purchase->setProperty(key, value);
  purchase->commitTransaction();
  return purchase;
}

/// Returns the request without the fields that identify it in this process.
platform::Dictionary detailsOf(const TVSResourceLoadingRequest& request) {
  platform::Dictionary details = request.dictionaryRepresentation();
  details.remove(platform::kCustomURLProviderRequestIDKey);
  details.remove(platform::kCustomURLProviderRequestURLKey);
  return details;
}

}  // namespace

void RemoteRequests::sendRequest(std::uint64_t itemID, bool isKey,
                                 const std::shared_ptr<TVSResourceLoadingRequest>& request) {
  _cancelFinished();
  const std::uint64_t requestID = request->requestID().value_or(0);
  _pending[requestID] = request;
  _send(ItemRequestEvent{requestID, itemID, isKey, request->url(), detailsOf(*request)});
}

void RemoteRequests::_cancelFinished() {
  std::erase_if(_pending, [&](const auto& each) {
    if (!each.second->isFinished()) return false;
    _send(CancelRequestEvent{each.first});
    return true;
  });
}

void RemoteRequests::handleResponse(const ItemResponseCommand& command) {
  const auto found = _pending.find(command.requestID);
  if (found == _pending.end()) return;
  const auto request = std::move(found->second);
  _pending.erase(found);
  if (command.error)
    request->finishLoadingWithError(*command.error);
  else
    request->finishLoading(command.response.value_or(platform::ResourceResponse{}));
  _cancelFinished();
}

std::shared_ptr<TVSMediaItem> makeRemoteMediaItem(std::uint64_t itemID,
                                                  const ItemDescription& description,
                                                  const std::shared_ptr<RemoteRequests>& requests) {
  if (description.purchase)
    return std::make_shared<RemoteMediaItem<TVSStoreMediaItem>>(itemID, description, requests,
                                                                purchaseOf(*description.purchase));
  return std::make_shared<RemoteMediaItem<TVSURLMediaItem>>(
      itemID, description, requests, description.url, std::vector<std::string>{});
}

}  // namespace media
