#include "box/relay/AnswerCollector.h"

#include <memory>
#include <utility>

#include "box/relay/NetworkErrors.h"

namespace box {
namespace {

// Licences are short.
constexpr std::size_t kMostBytes = std::size_t{256} * 1024;

}  // namespace

AnswerCollector::AnswerCollector(std::function<void(RelayAnswer)> reply)
    : _reply(std::move(reply)) {}

void AnswerCollector::begin(const ResourceHead& head) {
  _answer.statusCode = head.status;
  _answer.headers = head.fields;
}

bool AnswerCollector::send(std::string_view bytes) {
  _isTooLong = _isTooLong || _bytes.size() + bytes.size() > kMostBytes;
  if (_isTooLong) return true;
  const auto* const begin = reinterpret_cast<const std::byte*>(bytes.data());
  _bytes.insert(_bytes.end(), begin, begin + bytes.size());
  return true;
}

void AnswerCollector::finish() {
  if (_isTooLong) return fail(502, keyError());
  _answer.data = std::make_shared<const platform::Bytes>(std::move(_bytes));
  if (const auto reply = std::exchange(_reply, nullptr)) reply(std::move(_answer));
}

void AnswerCollector::fail(int, const platform::Error& error) {
  RelayAnswer answer;
  answer.error = error;
  if (const auto reply = std::exchange(_reply, nullptr)) reply(std::move(answer));
}

}  // namespace box
