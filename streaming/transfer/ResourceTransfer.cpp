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

constexpr std::size_t kReadBytes = std::size_t{64} * 1024;
// After this many local bytes the event loop runs other transfers.
constexpr std::size_t kBytesPerIteration = std::size_t{256} * 1024;
constexpr std::size_t kMaxKeyBytes = std::size_t{64} * 1024;

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
      _parsesKey(_request.kind == TransferKind::Key && !isRawKey) {}

ResourceTransfer::~ResourceTransfer() { cancel(); }

void ResourceTransfer::cancel() {
  if (std::exchange(_isEnded, true)) return;
  _setBusy(false);
  _pendingRequest.reset();
  _timer.reset();
  _httpFetch.reset();
  _cacheWriter.reset();
  _readBody = nullptr;
  _item->remove(*this);
}

void ResourceTransfer::start() {
  _item->add(*this);
  _setBusy(true);
  if (_request.span && _request.span->length == std::uint64_t{0}) {
    _url = _request.url;
    return _deliverBody({});
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
      return _deliverBody(
          {body->headers(), body->size(), [body](std::uint64_t position, std::size_t count) {
             return body->read(position, count);
           }});
  }
  const std::string scheme = schemeOf(url);
  if (isWebURL(url)) return _fetch(url);
  if (scheme == "data") {
    auto body = readDataURL(url);
    if (!body) return _endLater(networkError(URLErrorCode::BadURL));
    return _deliverBody(*std::move(body));
  }
  if (scheme == "file") {
    // Servers and manifests must not make the box read local files.
    if (url != _item->setup().url || url != _request.url)
      return _endLater(networkError(URLErrorCode::UnsupportedURL));
    platform::Error error;
    auto body = openFileURL(url, error);
    if (!body) return _endLater(std::move(error));
    return _deliverBody(*std::move(body));
  }
  if (scheme.empty()) return _endLater(networkError(URLErrorCode::BadURL));
  if (_item->setup().requestContent) return _requestFromSender(url);
  _endLater(networkError(URLErrorCode::UnsupportedURL));
}

void ResourceTransfer::_fetch(const std::string& url) {
  HTTPFetch::Request request;
  request.url = url;
  request.span = _request.span;
  request.detectsRanges = _request.kind == TransferKind::Item;
  request.acceptsEncodings = !_request.span && (_request.kind == TransferKind::Manifest ||
                                                _request.kind == TransferKind::Text);
  if (_request.wantsIcyMetadata) request.fields.emplace_back("Icy-MetaData", "1");
  request.isTrusted = _isTrusted;
  request.redirects = _redirects;
  _httpFetch =
      std::make_unique<HTTPFetch>(*_item, std::move(request), static_cast<FetchObserver&>(*this));
  _httpFetch->start();
}

bool ResourceTransfer::_mayCache() const {
  return _item->cache() && _request.kind != TransferKind::Key &&
         _request.kind != TransferKind::Manifest && _request.kind != TransferKind::Clock;
}

BodyFlow ResourceTransfer::transferGotHead(const ResponseHead& head) {
  // Redirected responses are not cached: the next redirect may lead elsewhere.
  if (_mayCache() && head.status == 200 && !_request.span && head.url == _url)
    _cacheWriter = _item->cache()->begin(_url, head.fields, platform::SystemClock().date());
  const BodyFlow flow = _reportHead(head);
  if (flow == BodyFlow::Abort) _cacheWriter.reset();
  return flow;
}

BodyFlow ResourceTransfer::transferGotBytes(std::string_view bytes) {
  if (_cacheWriter && !_cacheWriter->write(bytes)) _cacheWriter.reset();
  const BodyFlow flow = _reportBytes(bytes);
  if (flow == BodyFlow::Abort) _cacheWriter.reset();
  return flow;
}

void ResourceTransfer::transferEnded(const std::optional<platform::Error>& error) {
  const auto ended = std::move(_httpFetch);
  if (error) return _end(error);
  _sourceEnded();
}

void ResourceTransfer::fetchRedirected(std::string url) {
  const auto ended = std::move(_httpFetch);
  _follow(url);
}

void ResourceTransfer::_follow(const std::string& url) {
  if (++_redirects > _item->limits().redirects)
    return _endLater(
        networkError(URLErrorCode::BadServerResponse, "The server redirects too often."));
  _locate(url);
}

BodyFlow ResourceTransfer::_reportHead(const ResponseHead& head) {
  return _parsesKey ? BodyFlow::More : _noteFlow(_observer.transferGotHead(head));
}

BodyFlow ResourceTransfer::_reportBytes(std::string_view bytes) {
  if (!_parsesKey) return _noteFlow(_observer.transferGotBytes(bytes));
  _isKeyTooLong = _key.size() + bytes.size() > kMaxKeyBytes;
  if (_isKeyTooLong) return BodyFlow::Abort;
  _key += bytes;
  return BodyFlow::More;
}

/// A paused transfer waits for the observer, so it is not busy.
BodyFlow ResourceTransfer::_noteFlow(BodyFlow flow) {
  if (flow == BodyFlow::Pause) _setBusy(false);
  return flow;
}

void ResourceTransfer::_sourceEnded() {
  if (_parsesKey) return _endKey();
  if (const auto kept = std::move(_cacheWriter)) kept->commit();
  _end(std::nullopt);
}

void ResourceTransfer::_endKey() {
  platform::Bytes response(_key.size());
  std::transform(_key.begin(), _key.end(), response.begin(),
                 [](char c) { return static_cast<std::byte>(c); });
  const auto key = _isKeyTooLong ? std::nullopt : keyFromResponse(response, std::nullopt);
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
  if (_readBody) return _later([this] { _deliverBytes(); });
  if (_httpFetch) _httpFetch->resume();
}

void ResourceTransfer::_requestFromSender(const std::string& url) {
  const ItemSetup& setup = _item->setup();
  ContentRequest request;
  request.kind = _request.kind == TransferKind::Key ? ContentRequest::Kind::Key
                                                    : ContentRequest::Kind::Resource;
  request.url = url;
  if (url == setup.url || _item->isOwnServer(url)) request.headers = setup.headers;
  if (!setup.userAgent.empty()) request.headers.emplace_back("User-Agent", setup.userAgent);
  if (_request.span && (_request.span->offset > 0 || _request.span->length))
    request.headers.emplace_back("Range", rangeField(*_request.span));
  _pendingRequest = std::make_shared<ResourceTransfer*>(this);
  setup.requestContent(std::move(request),
                       [item = std::weak_ptr(_item),
                        asking = std::weak_ptr(_pendingRequest)](ContentResponse response) {
                         const auto context = item.lock();
                         if (!context) return;
                         context->post([asking, response = std::move(response)] {
                           const auto self = asking.lock();
                           if (!self) return;
                           (*self)->_pendingRequest.reset();
                           (*self)->_gotResponse(response);
                         });
                       });
}

void ResourceTransfer::_gotResponse(ContentResponse response) {
  if (response.error) return _end(response.error);
  if (response.redirectURL) {
    const auto target = resolvedRedirect(_url, *response.redirectURL);
    if (!target) return _end(networkError(URLErrorCode::BadServerResponse));
    // The sender may redirect to private addresses.
    _isTrusted = true;
    return _follow(*target);
  }
  // Data is accepted with any status.
  if (response.statusCode >= 400 && !response.data)
    return _end(httpError(static_cast<unsigned>(response.statusCode)));
  _gotResponseData(std::move(response));
}

void ResourceTransfer::_gotResponseData(ContentResponse response) {
  static const auto nothing = std::make_shared<const platform::Bytes>();
  const auto data = response.data ? response.data : nothing;
  const auto read = [data](std::uint64_t position, std::size_t count) {
    return std::string(reinterpret_cast<const char*>(data->data()) + position, count);
  };
  if (response.statusCode != 206 || !_request.span)
    return _deliverBody({std::move(response.headers), data->size(), read});
  // The data is the requested part only.
  ResponseHead head;
  head.fields = std::move(response.headers);
  const auto part = ByteRange::ofResponse(head.field("Content-Range"));
  if (part && part->first != _request.span->offset)
    return _end(networkError(URLErrorCode::BadServerResponse));
  head.offset = _request.span->offset;
  head.totalLength = part ? part->total : std::nullopt;
  head.length = std::min<std::uint64_t>(_request.span->length.value_or(data->size()), data->size());
  head.status = 206;
  head.acceptsRanges = true;
  _readBody = read;
  _bodyPosition = 0;
  _bodyEnd = *head.length;
  _deliverHead(head);
}

/// Delivers the requested part of a complete body.
void ResourceTransfer::_deliverBody(LocalBody body) {
  _readBody =
      body.read ? std::move(body.read) : [](std::uint64_t, std::size_t) { return std::string(); };
  const ByteSpan span = _request.span.value_or(ByteSpan());
  const bool isEmptySpan = span.length == std::uint64_t{0};
  if (span.offset > 0 && span.offset >= body.size && !isEmptySpan) return _endLater(httpError(416));
  _bodyPosition = std::min(span.offset, body.size);
  _bodyEnd = _bodyPosition + std::min(span.length.value_or(body.size), body.size - _bodyPosition);
  ResponseHead head;
  head.fields = std::move(body.fields);
  head.offset = span.offset;
  head.length = _bodyEnd - _bodyPosition;
  if (!isEmptySpan) head.totalLength = body.size;
  head.status = *head.length == body.size ? 200 : 206;
  head.acceptsRanges = true;
  _deliverHead(head);
}

void ResourceTransfer::_deliverHead(const ResponseHead& head) {
  _later([this, head] {
    ResponseHead complete = head;
    complete.url = _url;
    switch (_reportHead(complete)) {
      case BodyFlow::More:
        return _deliverBytes();
      case BodyFlow::Pause:
        return;
      case BodyFlow::Abort:
        return _end(std::nullopt);
    }
  });
}

void ResourceTransfer::_deliverBytes() {
  std::size_t passed = 0;
  while (_bodyPosition < _bodyEnd) {
    if (passed >= kBytesPerIteration) return _later([this] { _deliverBytes(); });
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(kReadBytes, _bodyEnd - _bodyPosition));
    const std::string piece = _readBody(_bodyPosition, size);
    if (piece.size() < size)
      return _end(networkError(URLErrorCode::Unknown, "The disk cannot be read."));
    _bodyPosition += size;
    passed += size;
    const BodyFlow flow = _reportBytes(piece);
    if (flow == BodyFlow::Pause) return;
    if (flow == BodyFlow::Abort) break;
  }
  _readBody = nullptr;
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
