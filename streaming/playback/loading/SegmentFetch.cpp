#include "streaming/playback/loading/SegmentFetch.h"

#include <algorithm>
#include <utility>

#include "streaming/playback/PlaybackErrors.h"

namespace streaming {

SegmentFetch::SegmentFetch(const FetchTools& tools, Segment segment,
                           std::shared_ptr<const Representation> representation, TransferKind kind,
                           Handlers handlers, SegmentBytes::Limits limits)
    : _tools(tools),
      _segment(std::move(segment)),
      _representation(std::move(representation)),
      _kind(kind),
      _handlers(std::move(handlers)),
      _media(std::make_shared<SegmentBytes>(limits)),
      _self(std::make_shared<SegmentFetch*>(this)) {
  _media->setSource([&source = _tools.source, self = std::weak_ptr(_self)] {
    source.post([self] {
      if (const auto fetch = self.lock()) (*fetch)->_readerMoved();
    });
  });
}

SegmentFetch::~SegmentFetch() {
  _media->setSource({});
  _media->fail(
      networkError(platform::URLErrorCode::NetworkConnectionLost, "The request was cancelled."));
}

void SegmentFetch::start() {
  if (_segment.resource.urls.empty())
    return _fail(networkError(platform::URLErrorCode::BadURL, "The segment has no URL."));
  if (!_segment.key) {
    _startInitialization();
    return;
  }
  auto request = _tools.keys.get(*_segment.key, [this](const KeyResult& result) {
    if (const auto* error = std::get_if<platform::Error>(&result)) return _fail(*error, true);
    _key.value = std::get<ContentKey>(result);
    _startInitialization();
  });
  // Null: the handler was called synchronously, and `this` may be destroyed.
  if (request) _key.request = std::move(request);
}

void SegmentFetch::_startInitialization() {
  _startMedia(0);
  if (!_segment.initialization) {
    _initialization.isThere = true;
    return;
  }
  auto request = _tools.initializations.get(
      *_segment.initialization, [this](const InitializationStore::Result& result) {
        if (const auto* error = std::get_if<platform::Error>(&result))
          return _fail(*error, error->domain == platform::kMediaErrorDomain);
        _initialization.value = std::get<std::shared_ptr<const SegmentBytes>>(result);
        _initialization.isThere = true;
        if (_media->size() > 0) _offer();
        if (_hasMedia) _finishMedia();
      });
  if (request) _initialization.request = std::move(request);
}

void SegmentFetch::_startMedia(std::uint64_t offset) {
  _begin = offset;
  auto span = _segment.resource.span;
  if (offset > 0) {
    if (!span) span.emplace();
    span->offset += offset;
    if (span->length) *span->length -= std::min(*span->length, offset);
  }
  _filter = SpanFilter(span);
  _decryptor.reset();
  if (_key.value && _segment.key->method == SegmentKey::Method::AES128)
    _decryptor.emplace(*_key.value, _initialVector());
  TransferRequest request{_segment.resource.urls[_urlIndex], _kind, span, false};
  _transfer = _tools.source.start(request, *this);
}

/// There may be room again, or the reader wants another range.
void SegmentFetch::_readerMoved() {
  if (const auto offset = _media->requestedOffset()) {
    _measured.reset();
    _transfer.reset();
    const std::uint64_t begin = _canSeek ? *offset : 0;
    _media->restart(begin);
    return _startMedia(begin);
  }
  if (!_isPaused || !_transfer || _media->isFull()) return;
  _isPaused = false;
  _measured.emplace(_tools.meter);
  _transfer->resume();
}

std::array<std::byte, 16> SegmentFetch::_initialVector() const {
  if (_segment.key->initialVector) return *_segment.key->initialVector;
  std::array<std::byte, 16> vector{};
  for (unsigned i = 0; i < 8; ++i)
    vector[15 - i] = static_cast<std::byte>(_segment.number >> (8 * i) & 0xFF);
  return vector;
}

BodyFlow SegmentFetch::transferGotHead(const ResponseHead& head) {
  _measured.emplace(_tools.meter);
  _isPaused = false;
  if (!_filter.begin(head.offset)) {
    _refusal = networkError(platform::URLErrorCode::BadServerResponse,
                            "The server sent a range that was not requested.");
    return BodyFlow::Abort;
  }
  if (_begin == 0 && !_decryptor) {
    _canSeek = head.acceptsRanges;
    _media->setTotal(_totalOf(head), _canSeek);
  }
  return BodyFlow::More;
}

std::optional<std::uint64_t> SegmentFetch::_totalOf(const ResponseHead& head) const {
  std::optional<std::uint64_t> whole = head.totalLength;
  if (!whole && head.length) whole = head.offset + *head.length;
  const ByteSpan span = _segment.resource.span.value_or(ByteSpan{});
  if (!whole) return span.length;
  const std::uint64_t rest = *whole - std::min(*whole, span.offset);
  return std::min(rest, span.length.value_or(rest));
}

BodyFlow SegmentFetch::transferGotBytes(std::string_view bytes) {
  if (_measured) _measured->addBytes(bytes.size());
  bytes = _filter.pass(bytes);
  if (!bytes.empty()) _append(bytes);
  if (_filter.isDone()) return BodyFlow::Abort;
  // Texts are parsed as a whole.
  if (_kind == TransferKind::Text && isLong()) {
    _refusal = networkError(platform::URLErrorCode::BadServerResponse, "The segment is too long.");
    return BodyFlow::Abort;
  }
  if (!_media->isFull()) return BodyFlow::More;
  // Waiting for the reader must not count as transfer time.
  _measured.reset();
  _isPaused = true;
  return BodyFlow::Pause;
}

void SegmentFetch::_append(std::string_view bytes) {
  if (_decryptor)
    _media->append(_decryptor->pass(bytes));
  else
    _media->append(bytes);
  if (_initialization.isThere && _media->size() > 0) _offer();
}

void SegmentFetch::_offer() {
  if (std::exchange(_isOffered, true)) return;
  TrackPiece piece;
  piece.segment = _segment;
  piece.representation = _representation;
  piece.initialization = _initialization.value;
  piece.media = _media;
  if (_key.value && _segment.key->method == SegmentKey::Method::SampleAES)
    piece.sampleKey = _key.value;
  _handlers.began(std::move(piece));
}

void SegmentFetch::transferEnded(const std::optional<platform::Error>& error) {
  _measured.reset();
  const auto failure = _refusal ? std::exchange(_refusal, {}) : error;
  const auto ended = std::move(_transfer);
  if (failure) {
    if (!_isOffered && _media->size() == 0 && _urlIndex + 1 < _segment.resource.urls.size()) {
      ++_urlIndex;
      return _startMedia(0);
    }
    return _fail(*failure);
  }
  if (_decryptor) {
    const auto rest = _decryptor->finish();
    if (!rest) {
      return _fail(mediaError(platform::MediaErrorCode::ContentNotAuthorized,
                              "The key does not match the segment."));
    }
    if (!rest->empty()) _media->append(*rest);
  }
  if (_media->size() == 0)
    return _fail(networkError(platform::URLErrorCode::BadServerResponse, "The segment is empty."));
  _hasMedia = true;
  if (_initialization.isThere) _finishMedia();
}

void SegmentFetch::_finishMedia() {
  _offer();
  _media->complete();
  _end(std::nullopt);
}

void SegmentFetch::_fail(platform::Error error, bool isKey) {
  Failure failure;
  failure.error = error;
  if (isKey && _segment.key)
    failure.url = _segment.key->url;
  else if (_urlIndex < _segment.resource.urls.size())
    failure.url = _segment.resource.urls[_urlIndex];
  failure.isKey = isKey;
  _media->fail(std::move(error));
  _end(std::move(failure));
}

void SegmentFetch::_end(std::optional<Failure> failure) {
  const auto ended = std::exchange(_handlers.ended, {});
  if (ended) ended(std::move(failure));
}

}  // namespace streaming
