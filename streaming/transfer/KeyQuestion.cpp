#include "streaming/transfer/KeyQuestion.h"

#include <utility>

#include "streaming/transfer/NetworkErrors.h"

namespace streaming {
namespace {

constexpr std::size_t kMostLicenceBytes = std::size_t{256} * 1024;

}  // namespace

KeyQuestion::KeyQuestion(std::shared_ptr<ItemContext> item,
                         std::function<void(ContentAnswer)> reply)
    : _item(item), _reply(std::move(reply)) {}

void KeyQuestion::start(const std::shared_ptr<ItemContext>& item, const std::string& url,
                        std::function<void(ContentAnswer)> reply) {
  const auto question = std::make_shared<KeyQuestion>(item, std::move(reply));
  TransferRequest request;
  request.url = url;
  request.kind = TransferKind::Key;
  question->_transfer = std::make_unique<ResourceTransfer>(item, request, *question, true);
  item->add(question);
  question->_transfer->start();
}

BodyFlow KeyQuestion::transferGotHead(const ResponseHead& head) {
  _answer.statusCode = head.status;
  _answer.headers = head.fields;
  return BodyFlow::More;
}

BodyFlow KeyQuestion::transferGotBytes(std::string_view bytes) {
  _isTooLong = _bytes.size() + bytes.size() > kMostLicenceBytes;
  if (_isTooLong) return BodyFlow::Abort;
  const auto* const begin = reinterpret_cast<const std::byte*>(bytes.data());
  _bytes.insert(_bytes.end(), begin, begin + bytes.size());
  return BodyFlow::More;
}

void KeyQuestion::transferEnded(const std::optional<platform::Error>& error) {
  const auto self = shared_from_this();
  if (const auto item = _item.lock()) item->remove(self);
  ContentAnswer answer = std::move(_answer);
  if (error || _isTooLong) {
    answer = {};
    answer.error = error ? *error : keyError();
  } else {
    answer.data = std::make_shared<const platform::Bytes>(std::move(_bytes));
  }
  std::exchange(_reply, nullptr)(std::move(answer));
}

}  // namespace streaming
