#include "streaming/playback/loading/BodyFetch.h"

#include <utility>

#include "streaming/playback/PlaybackErrors.h"

namespace streaming {

BodyFetch::BodyFetch(TransferSource& source, const TransferRequest& request, std::size_t most,
                     std::function<void(FetchResult)> done)
    : _most(most), _done(std::move(done)), _filter(request.span) {
  _transfer = source.start(request, *this);
}

BodyFlow BodyFetch::transferGotHead(const ResponseHead& head) {
  _body.head = head;
  if (!_filter.begin(head.offset))
    return _refuse("The server sent a range that was not requested.");
  return BodyFlow::More;
}

BodyFlow BodyFetch::transferGotBytes(std::string_view bytes) {
  bytes = _filter.pass(bytes);
  if (_body.bytes.size() + bytes.size() > _most) return _refuse("The response is too long.");
  _body.bytes += bytes;
  return _filter.isDone() ? BodyFlow::Abort : BodyFlow::More;
}

BodyFlow BodyFetch::_refuse(const char* reason) {
  _refusal = networkError(platform::URLErrorCode::BadServerResponse, reason);
  return BodyFlow::Abort;
}

void BodyFetch::transferEnded(const std::optional<platform::Error>& error) {
  const auto done = std::move(_done);
  if (_refusal) return done(*std::exchange(_refusal, {}));
  if (error) return done(*error);
  done(std::move(_body));
}

}  // namespace streaming
