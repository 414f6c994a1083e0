#include "streaming/transfer/http/HTTPFetch.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "streaming/foundation/URL.h"
#include "streaming/transfer/NetworkErrors.h"

namespace streaming {
namespace {

using platform::URLErrorCode;

// Discarding the rest of a short body is cheaper than a new connection.
constexpr std::size_t kMaxSkippedBytes = std::size_t{64} * 1024;
// Receiving this many bytes resets the retry counter.
constexpr std::uint64_t kRetryResetBytes = std::uint64_t{1024} * 1024;

double secondsOf(std::chrono::milliseconds time) {
  return std::chrono::duration<double>(time).count();
}

/// A validator that changes with every change of the resource, for If-Range.
std::string strongValidator(const ResponseHead& head) {
  const std::string tag = head.field("ETag");
  return tag.empty() || tag.starts_with("W/") ? head.field("Last-Modified") : tag;
}

}  // namespace

HTTPFetch::HTTPFetch(ItemContext& item, Request request, FetchObserver& observer)
    : _item(item),
      _loop(item.connections()),
      _request(std::move(request)),
      _observer(observer),
      _meter(item.counters()),
      _redirects(_request.redirects) {}

HTTPFetch::~HTTPFetch() {
  if (_attempt) _loop.remove(_attempt->request.get());
}

bool HTTPFetch::_isRanged() const {
  return _request.span && (_request.span->offset > 0 || _request.span->length);
}

void HTTPFetch::_startAttempt() {
  HTTPRequest::Setup setup;
  setup.url = _request.url;
  setup.acceptsEncodings = _request.acceptsEncodings;
  setup.isTrusted = _request.isTrusted;
  setup.fields = _request.fields;
  if (_head && (_passedBytes > 0 || _isRanged())) {
    ByteRange rest = _part;
    rest.first += _passedBytes;
    setup.fields.emplace_back("Range", rest.requestField());
    const std::string validator = strongValidator(*_head);
    if (!validator.empty()) setup.fields.emplace_back("If-Range", validator);
  } else if (_request.span || _request.detectsRanges) {
    ByteRange range;
    if (_request.span) range.first = _request.span->offset;
    if (_request.span && _request.span->length)
      range.last = range.first + *_request.span->length - 1;
    setup.fields.emplace_back("Range", range.requestField());
  }

  _attempt = std::make_unique<Attempt>(_item, setup);
  CURL* const transfer = _attempt->request.get();
  curl_easy_setopt(transfer, CURLOPT_HEADERFUNCTION, &HTTPFetch::_headerCallback);
  curl_easy_setopt(transfer, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(transfer, CURLOPT_WRITEFUNCTION, &HTTPFetch::_bodyCallback);
  curl_easy_setopt(transfer, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(transfer, CURLOPT_PREREQFUNCTION, &HTTPFetch::_connectedCallback);
  curl_easy_setopt(transfer, CURLOPT_PREREQDATA, this);
  _item.counters().addRequest();
  _meter.begin();
  // libcurl enforces the connect timeout.
  const double bound = secondsOf(_item.limits().connect + _item.limits().stall);
  _deadline = monotonicSeconds() + bound;
  _slowSince = monotonicSeconds();
  _slowBytes = 0;
  _scheduleStallCheck(bound);
  _loop.add(transfer, [this](CURLcode code) { _attemptEnded(code); });
}

int HTTPFetch::_connectedCallback(void* self, char* address, char*, int, int) {
  auto& fetch = *static_cast<HTTPFetch*>(self);
  if (!fetch._attempt->request.mayUse(address)) return CURL_PREREQFUNC_ABORT;
  fetch._resetDeadline();
  fetch._slowSince = monotonicSeconds();
  fetch._scheduleStallCheck(
      secondsOf(std::min(fetch._item.limits().stall, fetch._item.limits().slow)));
  return CURL_PREREQFUNC_OK;
}

std::size_t HTTPFetch::_headerCallback(char* bytes, std::size_t, std::size_t size, void* self) {
  return static_cast<HTTPFetch*>(self)->_gotLine({bytes, size}) ? size : 0;
}

std::size_t HTTPFetch::_bodyCallback(char* bytes, std::size_t, std::size_t size, void* self) {
  return static_cast<HTTPFetch*>(self)->_gotBytes({bytes, size});
}

bool HTTPFetch::_refuse(URLErrorCode code, const char* reason) {
  _attempt->verdict = Verdict::Refuse;
  _attempt->refusal = networkError(code, reason);
  return false;
}

bool HTTPFetch::_gotLine(std::string_view line) {
  auto result = HeaderReader::Result::More;
  if (!_attempt->hasHead) {
    _resetDeadline();
    _slowBytes += line.size();
    result = _attempt->header.feed(line);
  } else if (!_attempt->header.feedTrailer(line)) {
    result = HeaderReader::Result::TooLong;
  }
  switch (result) {
    case HeaderReader::Result::More:
      return true;
    case HeaderReader::Result::Complete:
      return _gotHead();
    case HeaderReader::Result::TooLong:
      break;
  }
  return _refuse(URLErrorCode::BadServerResponse, "The response header is too long.");
}

bool HTTPFetch::_gotHead() {
  CURL* const transfer = _attempt->request.get();
  long status = 0;
  curl_easy_getinfo(transfer, CURLINFO_RESPONSE_CODE, &status);
  if (status < 200) return true;
  _attempt->hasHead = true;
  char* address = nullptr;
  curl_easy_getinfo(transfer, CURLINFO_PRIMARY_IP, &address);
  if (address) _item.counters().setServerAddress(address);

  ResponseHead head;
  head.status = static_cast<int>(status);
  head.url = _request.url;
  head.fields = _attempt->header.takeFields();
  if (!_checkStatus(head)) return true;
  curl_off_t length = -1;
  curl_easy_getinfo(transfer, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  if (length >= 0) head.length = static_cast<std::uint64_t>(length);
  if (_request.acceptsEncodings && !_decode(head)) return false;
  if (_head) return _continue(head);
  // For status 416 the attempt ends with the refusal that is already set.
  if (!_determinePart(head)) return _attempt->verdict == Verdict::Refuse && head.status == 416;
  _head = head;
  switch (_observer.transferGotHead(head)) {
    case BodyFlow::More:
      return true;
    case BodyFlow::Pause:
      _isPaused = true;
      return true;
    case BodyFlow::Abort:
      break;
  }
  _attempt->verdict = Verdict::Abort;
  return false;
}

std::size_t HTTPFetch::_gotBytes(std::string_view bytes) {
  Attempt& attempt = *_attempt;
  if (attempt.verdict == Verdict::Abort) return 0;
  if (attempt.verdict != Verdict::None) {
    attempt.skippedBytes += bytes.size();
    return attempt.skippedBytes > kMaxSkippedBytes ? 0 : bytes.size();
  }
  if (_isPaused) {
    attempt.isHeld = true;
    return CURL_WRITEFUNC_PAUSE;
  }
  _resetDeadline();
  _slowBytes += bytes.size();
  _countBytes();
  const std::size_t size = bytes.size();
  const bool isBefore = attempt.bytesBefore >= size;
  bytes = _requestedPart(bytes);
  if (isBefore) return size;
  if (bytes.empty()) {
    attempt.verdict = Verdict::Abort;
    return 0;
  }
  _passedBytes += bytes.size();
  attempt.passedBytes += bytes.size();
  if (attempt.passedBytes >= kRetryResetBytes) _retries = 0;
  switch (_observer.transferGotBytes(bytes)) {
    case BodyFlow::More:
      return size;
    case BodyFlow::Pause:
      _isPaused = true;
      _meter.pause();
      return size;
    case BodyFlow::Abort:
      break;
  }
  attempt.verdict = Verdict::Abort;
  return 0;
}

void HTTPFetch::resume() {
  if (!std::exchange(_isPaused, false) || !_attempt) return;
  _meter.resume();
  _resetDeadline();
  _slowSince = monotonicSeconds();
  _slowBytes = 0;
  _scheduleStallCheck(secondsOf(std::min(_item.limits().stall, _item.limits().slow)));
  if (!std::exchange(_attempt->isHeld, false)) return;
  const CURLcode code = curl_easy_pause(_attempt->request.get(), CURLPAUSE_CONT);
  if (code == CURLE_OK) return;
  // libcurl reports errors of the held bytes only here.
  _timer = _item.loop().callAt(std::chrono::steady_clock::now(), [this, code] {
    _loop.remove(_attempt->request.get());
    _attemptEnded(code);
  });
}

void HTTPFetch::_countBytes() {
  curl_off_t bytes = 0;
  curl_easy_getinfo(_attempt->request.get(), CURLINFO_SIZE_DOWNLOAD_T, &bytes);
  const auto count = static_cast<std::uint64_t>(bytes);
  if (count <= _attempt->countedBytes) return;
  _meter.got(count - std::exchange(_attempt->countedBytes, count));
}

void HTTPFetch::_resetDeadline() {
  _deadline = monotonicSeconds() + secondsOf(_item.limits().stall);
}

void HTTPFetch::_scheduleStallCheck(double seconds) {
  using std::chrono::duration;
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(duration<double>(seconds));
  _timer = _item.loop().callAt(std::chrono::steady_clock::now() + wait, [this] { _checkStall(); });
}

void HTTPFetch::_checkStall() {
  if (_isPaused) return;
  const double now = monotonicSeconds();
  const double slowEnd = _slowSince + secondsOf(_item.limits().slow);
  const bool isSlow = now >= slowEnd && _slowBytes < _item.limits().slowBytes;
  if (now < _deadline && !isSlow) {
    if (now >= slowEnd) {
      _slowSince = now;
      _slowBytes = 0;
    }
    const double windowEnd = _slowSince + secondsOf(_item.limits().slow);
    return _scheduleStallCheck(std::min(_deadline, windowEnd) - now);
  }
  _item.counters().addStall();
  if (_attempt->verdict == Verdict::None) _attempt->verdict = Verdict::Stalled;
  // A slow transfer is not retried.
  if (isSlow) _retries = _item.limits().backOff.size();
  _loop.remove(_attempt->request.get());
  _attemptEnded(CURLE_OPERATION_TIMEDOUT);
}

void HTTPFetch::_attemptEnded(CURLcode code) {
  _timer.reset();
  _countBytes();
  _meter.end();
  auto attempt = std::move(_attempt);
  switch (attempt->verdict) {
    case Verdict::Redirect:
      _attempt = std::move(attempt);
      return _redirect();
    case Verdict::Retry:
      return _retry(networkError(URLErrorCode::BadServerResponse));
    case Verdict::RetryWithoutRange:
      _request.detectsRanges = false;
      return _startAttempt();
    case Verdict::Refuse:
      return _end(std::move(attempt->refusal));
    case Verdict::Abort:
      return _end(std::nullopt);
    case Verdict::Stalled:
      // No retry if the server has not sent any response.
      return _head ? _retry(networkError(URLErrorCode::TimedOut))
                   : _end(networkError(URLErrorCode::TimedOut));
    case Verdict::None:
      break;
  }
  if (code != CURLE_OK)
    return isTemporary(code) ? _retry(attempt->request.error(code))
                             : _end(attempt->request.error(code));
  if (!attempt->hasHead) return _end(networkError(URLErrorCode::BadServerResponse));
  _end(std::nullopt);
}

void HTTPFetch::_redirect() {
  const auto attempt = std::move(_attempt);
  char* target = nullptr;
  curl_easy_getinfo(attempt->request.get(), CURLINFO_REDIRECT_URL, &target);
  const std::string url = target ? target : "";
  const std::string scheme = schemeOf(url);
  if (scheme.empty() || scheme == "file" || scheme == "data")
    return _end(networkError(URLErrorCode::BadServerResponse,
                             "The server redirects to an unsupported address."));
  if (++_redirects > _item.limits().redirects)
    return _end(networkError(URLErrorCode::BadServerResponse, "The server redirects too often."));
  if (!isWebURL(url)) {
    if (!_head) return _observer.fetchRedirected(url);
    return _end(networkError(URLErrorCode::NetworkConnectionLost));
  }
  _request.url = url;
  _request.isTrusted = false;
  _startAttempt();
}

bool HTTPFetch::_canContinue() const {
  if (!_head) return true;
  if (_passedBytes == 0 && !_isRanged()) return true;
  if (_request.acceptsEncodings && !_head->length) return false;
  if (!_head->field("icy-metaint").empty()) return false;
  if (_head->status == 206 && !_part.last) return false;
  return _part.total || !strongValidator(*_head).empty();
}

void HTTPFetch::_retry(platform::Error otherwise) {
  const auto& backOff = _item.limits().backOff;
  if (_retries >= backOff.size() || !_canContinue()) return _end(std::move(otherwise));
  _item.counters().addRetry();
  _timer = _item.loop().callAt(std::chrono::steady_clock::now() + backOff[_retries++],
                               [this] { _startAttempt(); });
}

void HTTPFetch::_end(const std::optional<platform::Error>& error) {
  _observer.transferEnded(error);
}

}  // namespace streaming
