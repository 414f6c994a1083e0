#include "streaming/transfer/KeyRequest.h"

#include <utility>

#include "streaming/transfer/NetworkErrors.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxLicenseBytes = std::size_t{256} * 1024;

}  // namespace

KeyRequest::KeyRequest(std::shared_ptr<ItemContext> item,
                       std::function<void(ContentResponse)> reply)
    : _item(item), _reply(std::move(reply)) {}

void KeyRequest::start(const std::shared_ptr<ItemContext>& item, const std::string& url,
                       std::function<void(ContentResponse)> reply) {
  const auto keyRequest = std::make_shared<KeyRequest>(item, std::move(reply));
  TransferRequest request;
  request.url = url;
  request.kind = TransferKind::Key;
  keyRequest->_transfer = std::make_unique<ResourceTransfer>(item, request, *keyRequest, true);
  item->add(keyRequest);
  keyRequest->_transfer->start();
}

BodyFlow KeyRequest::transferGotHead(const ResponseHead& head) {
  _response.statusCode = head.status;
  _response.headers = head.fields;
  return BodyFlow::More;
}

BodyFlow KeyRequest::transferGotBytes(std::string_view bytes) {
  _isTooLong = _bytes.size() + bytes.size() > kMaxLicenseBytes;
  if (_isTooLong) return BodyFlow::Abort;
  const auto* const begin = reinterpret_cast<const std::byte*>(bytes.data());
  _bytes.insert(_bytes.end(), begin, begin + bytes.size());
  return BodyFlow::More;
}

void KeyRequest::transferEnded(const std::optional<platform::Error>& error) {
  const auto self = shared_from_this();
  if (const auto item = _item.lock()) item->remove(self);
  ContentResponse response = std::move(_response);
  if (error || _isTooLong) {
    response = {};
    response.error = error ? *error : keyError();
  } else {
    response.data = std::make_shared<const platform::Bytes>(std::move(_bytes));
  }
  std::exchange(_reply, nullptr)(std::move(response));
}

}  // namespace streaming
