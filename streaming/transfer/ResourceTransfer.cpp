#include "streaming/transfer/ResourceTransfer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/foundation/queues/Clock.h"
#include "streaming/foundation/URL.h"
#include "streaming/keys/ClearKey.h"
#include "streaming/transfer/NetworkErrors.h"

namespace streaming {
namespace {

using platform::URLErrorCode;

constexpr std::size_t kHeldPieceBytes = std::size_t{64} * 1024;
// After this many local bytes the event loop runs other transfers.
constexpr std::size_t kHeldTurnBytes = std::size_t{256} * 1024;
constexpr std::size_t kMostKeyBytes = std::size_t{64} * 1024;

/// nullopt: invalid URL. A URL with a scheme is not normalized.
std::optional<std::string> resolvedRedirect(const std::string& base, const std::string& reference) {
  return schemeOf(reference).empty() ? resolveURL(base, reference) : reference;
}

std::string rangeField(const ByteSpan& span) {
  ByteRange range;
  range.first = span.offset;
  if (span.length) range.last = span.offset + *span.length - 1;
  return range.requestField();
}

TransferRequest withoutOverflow(TransferRequest request) {
  if (request.span && request.span->length &&
      *request.span->length > INT64_MAX - std::min<std::uint64_t>(request.span->offset, INT64_MAX))
    request.span->length.reset();
  return request;
}

}  // namespace

ResourceTransfer::ResourceTransfer(std::shared_ptr<ItemContext> item, TransferRequest request,
                                   TransferObserver& observer, bool isRawKey)
    : _item(std::move(item)),
      _request(withoutOverflow(std::move(request))),
      _observer(observer),
      _unpacksKey(_request.kind == TransferKind::Key && !isRawKey) {}

ResourceTransfer::~ResourceTransfer() { cancel(); }

void ResourceTransfer::cancel() {
  if (std::exchange(_isEnded, true)) return;
  _setBusy(false);
  _question.reset();
  _timer.reset();
  _fetching.reset();
  _keeping.reset();
  _held = nullptr;
  _item->remove(*this);
}

void ResourceTransfer::start() {
  _item->add(*this);
  _setBusy(true);
  if (_request.span && _request.span->length == std::uint64_t{0}) {
    _url = _request.url;
    return _hold({});
  }
  _locate(_request.url);
}

void ResourceTransfer::_later(std::function<void()> task) {
  _timer = _item->loop().callAt(std::chrono::steady_clock::now(), std::move(task));
}

void ResourceTransfer::_endLater(platform::Error error) {
  _later([this, error = std::move(error)] { _end(error); });
}

void ResourceTransfer::_locate(const std::string& url) {
  _url = url;
  if (_mayCache()) {
    const std::shared_ptr<DiskCache::Reader> body =
        _item->cache()->find(url, platform::SystemClock().date());
    if (body)
      return _hold(
          {body->headers(), body->size(), [body](std::uint64_t position, std::size_t count) {
             return body->read(position, count);
           }});
  }
  const std::string scheme = schemeOf(url);
  if (isWebURL(url)) return _fetch(url);
  if (scheme == "data") {
    auto body = bodyOfDataURL(url);
    if (!body) return _endLater(networkError(URLErrorCode::BadURL));
    return _hold(*std::move(body));
  }
  if (scheme == "file") {
    // Servers and manifests must not make the box read local files.
    if (url != _item->setup().url || url != _request.url)
      return _endLater(networkError(URLErrorCode::UnsupportedURL));
    platform::Error error;
    auto body = bodyOfFileURL(url, error);
    if (!body) return _endLater(std::move(error));
    return _hold(*std::move(body));
  }
  if (scheme.empty()) return _endLater(networkError(URLErrorCode::BadURL));
  if (_item->setup().ask) return _ask(url);
  _endLater(networkError(URLErrorCode::UnsupportedURL));
}

void ResourceTransfer::_fetch(const std::string& url) {
  HTTPFetch::Request request;
  request.url = url;
  request.span = _request.span;
  request.findsOutRanges = _request.kind == TransferKind::Item;
  request.acceptsEncodings = !_request.span && (_request.kind == TransferKind::Manifest ||
                                                _request.kind == TransferKind::Text);
  if (_request.wantsIcyMetadata) request.fields.emplace_back("Icy-MetaData", "1");
  request.isTrusted = _isTrusted;
  request.redirects = _redirects;
  _fetching =
      std::make_unique<HTTPFetch>(*_item, std::move(request), static_cast<FetchObserver&>(*this));
  _fetching->start();
}

bool ResourceTransfer::_mayCache() const {
  return _item->cache() && _request.kind != TransferKind::Key &&
         _request.kind != TransferKind::Manifest && _request.kind != TransferKind::Clock;
}

BodyFlow ResourceTransfer::transferGotHead(const ResponseHead& head) {
  // Redirected responses are not cached: the next redirect may lead elsewhere.
  if (_mayCache() && head.status == 200 && !_request.span && head.url == _url)
    _keeping = _item->cache()->begin(_url, head.fields, platform::SystemClock().date());
  const BodyFlow flow = _reportHead(head);
  if (flow == BodyFlow::Abort) _keeping.reset();
  return flow;
}

BodyFlow ResourceTransfer::transferGotBytes(std::string_view bytes) {
  if (_keeping && !_keeping->write(bytes)) _keeping.reset();
  const BodyFlow flow = _reportBytes(bytes);
  if (flow == BodyFlow::Abort) _keeping.reset();
  return flow;
}

void ResourceTransfer::transferEnded(const std::optional<platform::Error>& error) {
  const auto ended = std::move(_fetching);
  if (error) return _end(error);
  _sourceEnded();
}

void ResourceTransfer::fetchRedirected(std::string url) {
  const auto ended = std::move(_fetching);
  _follow(url);
}

void ResourceTransfer::_follow(const std::string& url) {
  if (++_redirects > _item->bounds().redirects)
    return _endLater(networkError(URLErrorCode::BadServerResponse, "It redirects too often."));
  _locate(url);
}

BodyFlow ResourceTransfer::_reportHead(const ResponseHead& head) {
  return _unpacksKey ? BodyFlow::More : _noted(_observer.transferGotHead(head));
}

BodyFlow ResourceTransfer::_reportBytes(std::string_view bytes) {
  if (!_unpacksKey) return _noted(_observer.transferGotBytes(bytes));
  _isKeyTooLong = _key.size() + bytes.size() > kMostKeyBytes;
  if (_isKeyTooLong) return BodyFlow::Abort;
  _key += bytes;
  return BodyFlow::More;
}

/// A paused transfer waits for the observer, so it is not busy.
BodyFlow ResourceTransfer::_noted(BodyFlow flow) {
  if (flow == BodyFlow::Pause) _setBusy(false);
  return flow;
}

void ResourceTransfer::_sourceEnded() {
  if (_unpacksKey) return _endKey();
  if (const auto kept = std::move(_keeping)) kept->commit();
  _end(std::nullopt);
}

void ResourceTransfer::_endKey() {
  platform::Bytes answer(_key.size());
  std::transform(_key.begin(), _key.end(), answer.begin(),
                 [](char c) { return static_cast<std::byte>(c); });
  const auto key = _isKeyTooLong ? std::nullopt : keyOfAnswer(answer, std::nullopt);
  if (!key) return _end(keyError());
  ResponseHead head;
  head.url = _url;
  head.length = head.totalLength = key->size();
  if (_observer.transferGotHead(head) != BodyFlow::Abort)
    _observer.transferGotBytes({reinterpret_cast<const char*>(key->data()), key->size()});
  _end(std::nullopt);
}

void ResourceTransfer::resume() {
  if (_isEnded) return;
  _setBusy(true);
  if (_held) return _later([this] { _passOn(); });
  if (_fetching) _fetching->resume();
}

void ResourceTransfer::_ask(const std::string& url) {
  const ItemSetup& setup = _item->setup();
  ContentQuestion question;
  question.kind = _request.kind == TransferKind::Key ? ContentQuestion::Kind::Key
                                                     : ContentQuestion::Kind::Resource;
  question.url = url;
  if (url == setup.url || _item->isOwnServer(url)) question.headers = setup.headers;
  if (!setup.userAgent.empty()) question.headers.emplace_back("User-Agent", setup.userAgent);
  if (_request.span && (_request.span->offset > 0 || _request.span->length))
    question.headers.emplace_back("Range", rangeField(*_request.span));
  _question = std::make_shared<ResourceTransfer*>(this);
  setup.ask(std::move(question),
            [item = std::weak_ptr(_item), asking = std::weak_ptr(_question)](ContentAnswer answer) {
              const auto context = item.lock();
              if (!context) return;
              context->post([asking, answer = std::move(answer)] {
                const auto self = asking.lock();
                if (!self) return;
                // Ignore a second reply.
                (*self)->_question.reset();
                (*self)->_answered(answer);
              });
            });
}

void ResourceTransfer::_answered(ContentAnswer answer) {
  if (answer.error) return _end(answer.error);
  if (answer.redirectURL) {
    const auto target = resolvedRedirect(_url, *answer.redirectURL);
    if (!target) return _end(networkError(URLErrorCode::BadServerResponse));
    // The sender may redirect to private addresses.
    _isTrusted = true;
    return _follow(*target);
  }
  // Data is accepted with any status.
  if (answer.statusCode >= 400 && !answer.data)
    return _end(httpError(static_cast<unsigned>(answer.statusCode)));
  _answeredData(std::move(answer));
}

void ResourceTransfer::_answeredData(ContentAnswer answer) {
  static const auto nothing = std::make_shared<const platform::Bytes>();
  const auto data = answer.data ? answer.data : nothing;
  const auto read = [data](std::uint64_t position, std::size_t count) {
    return std::string(reinterpret_cast<const char*>(data->data()) + position, count);
  };
  if (answer.statusCode != 206 || !_request.span)
    return _hold({std::move(answer.headers), data->size(), read});
  // The data is the requested part only.
  ResponseHead head;
  head.fields = std::move(answer.headers);
  const auto part = ByteRange::ofResponse(head.field("Content-Range"));
  if (part && part->first != _request.span->offset)
    return _end(networkError(URLErrorCode::BadServerResponse));
  head.offset = _request.span->offset;
  head.totalLength = part ? part->total : std::nullopt;
  head.length = std::min<std::uint64_t>(_request.span->length.value_or(data->size()), data->size());
  head.status = 206;
  head.acceptsRanges = true;
  _held = read;
  _heldBegin = 0;
  _heldEnd = *head.length;
  _passHead(head);
}

/// Delivers the requested part of a complete body.
void ResourceTransfer::_hold(HeldBody body) {
  _held =
      body.read ? std::move(body.read) : [](std::uint64_t, std::size_t) { return std::string(); };
  const ByteSpan span = _request.span.value_or(ByteSpan());
  const bool isEmptySpan = span.length == std::uint64_t{0};
  if (span.offset > 0 && span.offset >= body.size && !isEmptySpan) return _endLater(httpError(416));
  _heldBegin = std::min(span.offset, body.size);
  _heldEnd = _heldBegin + std::min(span.length.value_or(body.size), body.size - _heldBegin);
  ResponseHead head;
  head.fields = std::move(body.fields);
  head.offset = span.offset;
  head.length = _heldEnd - _heldBegin;
  if (!isEmptySpan) head.totalLength = body.size;
  head.status = *head.length == body.size ? 200 : 206;
  head.acceptsRanges = true;
  _passHead(head);
}

void ResourceTransfer::_passHead(const ResponseHead& head) {
  _later([this, head] {
    ResponseHead complete = head;
    complete.url = _url;
    switch (_reportHead(complete)) {
      case BodyFlow::More:
        return _passOn();
      case BodyFlow::Pause:
        return;
      case BodyFlow::Abort:
        return _end(std::nullopt);
    }
  });
}

void ResourceTransfer::_passOn() {
  std::size_t passed = 0;
  while (_heldBegin < _heldEnd) {
    if (passed >= kHeldTurnBytes) return _later([this] { _passOn(); });
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(kHeldPieceBytes, _heldEnd - _heldBegin));
    const std::string piece = _held(_heldBegin, size);
    if (piece.size() < size)
      return _end(networkError(URLErrorCode::Unknown, "The disk cannot be read."));
    _heldBegin += size;
    passed += size;
    const BodyFlow flow = _reportBytes(piece);
    if (flow == BodyFlow::Pause) return;
    if (flow == BodyFlow::Abort) break;
  }
  _held = nullptr;
  _sourceEnded();
}

void ResourceTransfer::_end(const std::optional<platform::Error>& error) {
  TransferObserver& observer = _observer;
  cancel();
  observer.transferEnded(error);
}

void ResourceTransfer::_setBusy(bool busy) {
  if (std::exchange(_isBusy, busy) == busy) return;
  if (busy)
    _item->counters().becameBusy();
  else
    _item->counters().becameIdle();
}

}  // namespace streaming
