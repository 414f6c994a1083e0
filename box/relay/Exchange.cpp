#include "box/relay/Exchange.h"

#include <algorithm>
#include <utility>

#include "box/relay/NetworkErrors.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/TVSLogger.h"

namespace box {
namespace {

using platform::URLErrorCode;

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

}  // namespace

Exchange::Exchange(std::shared_ptr<ItemContext> item, const Sources& sources, Request request,
                   std::shared_ptr<ResponseSink> sink)
    : _item(std::move(item)),
      _sources(sources),
      _request(std::move(request)),
      _sink(std::move(sink)) {}

Exchange::~Exchange() { _setBusy(false); }

void Exchange::start(std::shared_ptr<ItemContext> item, const Sources& sources, Request request,
                     std::shared_ptr<ResponseSink> sink) {
  const std::shared_ptr<Exchange> exchange(
      new Exchange(std::move(item), sources, std::move(request), std::move(sink)));
  exchange->_item->add(exchange);
  exchange->_sink->drained = [self = exchange.get()] { self->_resume(); };
  exchange->_sink->gone = [self = exchange.get()] { self->_close(); };
  exchange->_setBusy(true);
  // A playlist is rewritten, which takes all of it.
  if (exchange->_request.form == Delivery::Form::Key ||
      looksLikePlaylist(exchange->_request.path.url))
    exchange->_request.range.clear();
  exchange->_locate(exchange->_request.path.url);
}

void Exchange::_locate(const std::string& url) {
  _url = url;
  if (_mayCache() && _isCached(url)) return;
  if (isWebURL(url)) return _fetch(url);
  if (_item->setup().ask) return _ask(url);
  _fail(networkError(URLErrorCode::UnsupportedURL));
}

void Exchange::_fetch(const std::string& url) {
  Fetch::Request request;
  request.url = url;
  request.headOnly = _request.headOnly;
  request.range = _request.range;
  request.acceptsEncodings = _request.range.empty() && !_request.headOnly && looksLikeText(url);
  request.fields = _request.fields;
  _fetching =
      std::make_unique<Fetch>(*_item, _item->loop(_sources.transfers), std::move(request), *this);
  _fetching->start();
}

BodyFlow Exchange::fetchGotHead(const ResourceHead& head) {
  if (head.status >= 300) {
    _refusal = head.status >= 400 ? httpError(static_cast<unsigned>(head.status))
                                  : networkError(URLErrorCode::BadServerResponse);
    return BodyFlow::Abort;
  }
  _delivery =
      std::make_unique<Delivery>(*_item, _request.path, _request.form, _request.headOnly, *_sink);
  _delivery->begin(head);
  // What had to be looked for elsewhere may be somewhere else tomorrow.
  if (_mayCache() && head.status == 200 && _request.range.empty() && head.url == _url)
    _keeping = _sources.cache->begin(_url, head.fields, platform::SystemClock().date());
  return BodyFlow::More;
}

BodyFlow Exchange::fetchGotBytes(std::string_view bytes) {
  const BodyFlow flow = _noting(_delivery->pass(bytes));
  if (_keeping && (_delivery->isPlaylist() || !_keeping->write(bytes))) _keeping.reset();
  return flow;
}

bool Exchange::_mayCache() const {
  return _sources.cache && _item->setup().usesDiskCache && !_request.headOnly &&
         _request.form == Delivery::Form::Body && !looksLikePlaylist(_url);
}

bool Exchange::_isCached(const std::string& url) {
  const std::shared_ptr<DiskCache::Reader> body =
      _sources.cache->find(url, platform::SystemClock().date());
  if (!body) return false;
  ResourceHead head;
  head.url = url;
  head.fields = body->headers();
  _passHeld(std::move(head), body->size(), [body](std::uint64_t position, std::size_t size) {
    return body->read(position, size);
  });
  return true;
}

/// While the engine is waited for, the relay cannot bring the exchange to an end.
BodyFlow Exchange::_noting(BodyFlow flow) {
  if (flow == BodyFlow::Pause) _setBusy(false);
  return flow;
}

void Exchange::fetchEnded(std::optional<platform::Error> error) {
  const auto self = shared_from_this();
  const auto ended = std::move(_fetching);
  if (error) return _fail(*error);
  if (_refusal) return _fail(*_refusal);
  _sourceEnded();
}

void Exchange::_sourceEnded() {
  if (_delivery->needsWhole()) {
    _delivery.reset();
    _request.range.clear();
    return _locate(_url);
  }
  if (_delivery->refusal()) return _fail(*_delivery->refusal());
  if (const auto kept = std::move(_keeping)) kept->commit();
  if (const auto error = _delivery->end()) return _fail(*error);
  // The end of a short body is where it is seen to be a part of a playlist.
  if (_delivery->needsWhole()) return _sourceEnded();
  _close();
}

void Exchange::_resume() {
  const auto self = shared_from_this();
  _setBusy(true);
  if (_held) return _passOn();
  if (_fetching) _fetching->resume();
}

void Exchange::_ask(const std::string& url) {
  RelayQuestion question;
  question.kind = _request.path.kind == RelayPath::Kind::Key ? RelayQuestion::Kind::Key
                                                             : RelayQuestion::Kind::Resource;
  question.url = url;
  question.method = _request.headOnly ? "HEAD" : "GET";
  const RelayItemSetup& setup = _item->setup();
  if (_item->isOwnServer(url)) question.headers = setup.headers;
  if (!setup.userAgent.empty()) question.headers.emplace_back("User-Agent", setup.userAgent);
  if (!_request.range.empty()) question.headers.emplace_back("Range", _request.range);
  const std::uint64_t number = ++_question;
  auto reply = [item = std::weak_ptr(_item), exchange = weak_from_this(),
                number](RelayAnswer answer) {
    const auto asking = item.lock();
    if (!asking || asking->isShut()) return;
    asking->thread().post([exchange, number, answer = std::move(answer)]() mutable {
      const auto self = exchange.lock();
      if (!self || self->_isClosed || self->_question != number) return;
      ++self->_question;  // whatever else comes is the answer to nothing
      self->_answered(std::move(answer));
    });
  };
  setup.ask(std::move(question), std::move(reply));
}

void Exchange::_answered(RelayAnswer answer) {
  if (answer.error) return _fail(*answer.error);
  if (answer.redirectURL) {
    const auto target = resolvedURL(_url, *answer.redirectURL);
    if (!target || ++_redirects > _item->bounds().redirects)
      return _fail(networkError(URLErrorCode::BadServerResponse, "It redirects too often."));
    return _locate(*target);
  }
  // Data are the resource, whatever the status beside them.
  if (answer.statusCode >= 400 && !answer.data)
    return _fail(httpError(static_cast<unsigned>(answer.statusCode)));
  _answeredData(std::move(answer));
}

void Exchange::_answeredData(RelayAnswer answer) {
  static const auto nothing = std::make_shared<const platform::Bytes>();
  const auto data = answer.data ? answer.data : nothing;
  ResourceHead head;
  head.url = _url;
  head.status = answer.statusCode == 206 ? 206 : 200;
  head.fields = std::move(answer.headers);
  _passHeld(std::move(head), data->size(), [data](std::uint64_t position, std::size_t size) {
    return std::string(reinterpret_cast<const char*>(data->data()) + position, size);
  });
}

void Exchange::_passHeld(ResourceHead head, std::uint64_t size, ReadHeld read) {
  _held = std::move(read);
  _heldBegin = 0;
  _heldEnd = size;
  head.removeField("Accept-Ranges");
  head.fields.emplace_back("Accept-Ranges", "bytes");

  const std::string first = _held(0, static_cast<std::size_t>(std::min<std::uint64_t>(size, 64)));
  const bool isPlaylist = playlistKindOf(head.field("Content-Type"), first) != PlaylistKind::None;
  auto range = head.status == 200 && !isPlaylist ? ByteRange::ofRequest(_request.range, size)
                                                 : std::optional<ByteRange>();
  if (range) {
    if (range->first >= size) return _fail(httpError(416));
    range->last = std::min(range->last.value_or(size - 1), size - 1);
    range->total = size;
    _heldBegin = range->first;
    _heldEnd = *range->last + 1;
    head.status = 206;
    head.fields.emplace_back("Content-Range", range->responseField());
  }
  head.length = _heldEnd - _heldBegin;
  _delivery =
      std::make_unique<Delivery>(*_item, _request.path, _request.form, _request.headOnly, *_sink);
  _delivery->begin(head);
  _passOn();
}

void Exchange::_passOn() {
  while (_heldBegin < _heldEnd) {
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(kPieceBytes, _heldEnd - _heldBegin));
    const std::string piece = _held(_heldBegin, size);
    if (piece.size() < size)
      return _fail(networkError(URLErrorCode::Unknown, "The disk cannot be read."));
    _heldBegin += size;
    const BodyFlow flow = _noting(_delivery->pass(piece));
    if (flow == BodyFlow::Pause) return;
    if (flow == BodyFlow::Abort) break;
  }
  _held = nullptr;
  _sourceEnded();
}

void Exchange::_fail(const platform::Error& error) {
  const bool isStatus = error.domain == platform::kURLErrorDomain && error.code >= 400;
  // An engine that asks for what is behind the end is told so, and goes on.
  if (!isStatus || error.code != 416) {
    const bool isItself = _request.path.url == _item->setup().url;
    const auto verdict = _item->record().addFailure(error, isItself);
    if (verdict.isNews)
      TVSLogNotice(TVSSystemLog, "%@ cannot be had: %@", loggableURL(_url), error);
    if (verdict.isHopeless) _item->giveUp();
  }
  _setBusy(false);  // before anybody can see the outcome
  const auto timeline = _item->record().timeline();
  if (!_delivery && _item->record().isLiveSegment(_request.path.url))
    _passGap();
  else if (timeline && timeline->live)
    _sink->fail(kClasslessStatus, error);
  else
    _sink->fail(isStatus && error.code < 600 ? static_cast<int>(error.code) : 502, error);
  _close();
}

/// A live stream may lack a segment: the engine goes on behind one that is empty.
void Exchange::_passGap() {
  ResourceHead head;
  head.length = 0;
  _sink->begin(head);
  _sink->finish();
}

void Exchange::cancel() {
  _sink->fail(kClasslessStatus, networkError(URLErrorCode::NetworkConnectionLost));
  _close();
}

void Exchange::_close() {
  if (std::exchange(_isClosed, true)) return;
  const auto self = shared_from_this();
  _setBusy(false);
  _sink->drained = nullptr;
  _sink->gone = nullptr;
  _fetching.reset();
  _held = nullptr;
  _keeping.reset();
  _item->remove(*this);
}

void Exchange::_setBusy(bool busy) {
  if (std::exchange(_isBusy, busy) == busy) return;
  if (busy)
    _item->record().becameBusy();
  else
    _item->record().becameIdle();
}

}  // namespace box
