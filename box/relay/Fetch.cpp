#include "box/relay/Fetch.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "box/relay/NetworkErrors.h"

namespace box {
namespace {

using platform::URLErrorCode;

// Reading the rest of a short body that nobody wants is cheaper than another connection.
constexpr std::size_t kMostSkippedBytes = std::size_t{64} * 1024;
// What has come this far since the last fault may have all its retries again.
constexpr std::uint64_t kForgivingBytes = std::uint64_t{1024} * 1024;

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool isPassingStatus(int status) { return status == 502 || status == 503 || status == 504; }

double secondsOf(std::chrono::milliseconds time) {
  return std::chrono::duration<double>(time).count();
}

/// One that vouches for every byte.
std::string validatorOf(const ResourceHead& head) {
  const std::string tag = head.field("ETag");
  return tag.empty() || tag.starts_with("W/") ? head.field("Last-Modified") : tag;
}

}  // namespace

Fetch::Fetch(ItemContext& item, CurlLoop& loop, Request request, FetchObserver& observer)
    : _item(item),
      _loop(loop),
      _request(std::move(request)),
      _observer(observer),
      _meter(item.record()),
      _timer(item.thread().context()) {}

Fetch::~Fetch() {
  if (_attempt) _loop.remove(_attempt->transfer.get());
}

void Fetch::_try() {
  UpstreamTransfer::Request request;
  request.url = _request.url;
  request.headOnly = _request.headOnly;
  request.acceptsEncodings = _request.acceptsEncodings;
  request.fields = _request.fields;
  if (_head && (_passedBytes > 0 || !_request.range.empty())) {
    ByteRange rest = _part;
    rest.first += _passedBytes;
    request.fields.emplace_back("Range", rest.requestField());
    const std::string validator = validatorOf(*_head);
    if (!validator.empty()) request.fields.emplace_back("If-Range", validator);
  } else if (!_request.range.empty()) {
    request.fields.emplace_back("Range", _request.range);
  }

  _attempt = std::make_unique<Attempt>(_item, request);
  CURL* const transfer = _attempt->transfer.get();
  curl_easy_setopt(transfer, CURLOPT_HEADERFUNCTION, &Fetch::_headerCallback);
  curl_easy_setopt(transfer, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(transfer, CURLOPT_WRITEFUNCTION, &Fetch::_bodyCallback);
  curl_easy_setopt(transfer, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(transfer, CURLOPT_PREREQFUNCTION, &Fetch::_connectedCallback);
  curl_easy_setopt(transfer, CURLOPT_PREREQDATA, this);
  _item.record().addRequest();
  _meter.begin();
  // libcurl bounds the connecting.
  const auto bound = _item.bounds().connect + _item.bounds().stall;
  _deadline = monotonicSeconds() + secondsOf(bound);
  _timer.start(bound, [this] { _silent(); });
  _loop.add(transfer, [this](CURLcode code) { _attemptEnded(code); });
}

int Fetch::_connectedCallback(void* self, char*, char*, int, int) {
  auto& fetch = *static_cast<Fetch*>(self);
  fetch._noteByte();
  fetch._timer.start(fetch._item.bounds().stall, [&fetch] { fetch._silent(); });
  return CURL_PREREQFUNC_OK;
}

std::size_t Fetch::_headerCallback(char* bytes, std::size_t, std::size_t size, void* self) {
  return static_cast<Fetch*>(self)->_gotLine({bytes, size}) ? size : 0;
}

std::size_t Fetch::_bodyCallback(char* bytes, std::size_t, std::size_t size, void* self) {
  return static_cast<Fetch*>(self)->_gotBytes({bytes, size});
}

bool Fetch::_refuse(URLErrorCode code, const char* reason) {
  _attempt->verdict = Verdict::Refuse;
  _attempt->refusal = networkError(code, reason);
  return false;
}

bool Fetch::_gotLine(std::string_view line) {
  if (_attempt->hasHead) return true;  // what may follow a body says nothing new
  _noteByte();
  switch (_attempt->header.feed(line)) {
    case HeaderReader::Result::More:
      return true;
    case HeaderReader::Result::Complete:
      return _gotHead();
    case HeaderReader::Result::TooLong:
      break;
  }
  return _refuse(URLErrorCode::BadServerResponse, "Its header is too long.");
}

bool Fetch::_gotHead() {
  CURL* const transfer = _attempt->transfer.get();
  long status = 0;
  curl_easy_getinfo(transfer, CURLINFO_RESPONSE_CODE, &status);
  if (status < 200) return true;
  _attempt->hasHead = true;
  char* address = nullptr;
  curl_easy_getinfo(transfer, CURLINFO_PRIMARY_IP, &address);
  if (address) _item.record().setServerAddress(address);

  ResourceHead head;
  head.status = static_cast<int>(status);
  head.url = _request.url;
  head.fields = _attempt->header.takeFields();
  if (isRedirect(head.status) && !head.field("Location").empty()) {
    _attempt->verdict = Verdict::Redirect;
    return true;
  }
  if (isPassingStatus(head.status) && _retries < _item.bounds().backOff.size()) {
    _attempt->verdict = Verdict::TryAgain;
    return true;
  }
  curl_off_t length = -1;
  curl_easy_getinfo(transfer, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  if (length >= 0) head.length = static_cast<std::uint64_t>(length);
  if (_request.acceptsEncodings && !_isUnpacked(head)) return false;
  if (_head) return _isTheSame(head);

  _part = {};
  _part.total = head.length;
  if (head.status == 206)
    _part = ByteRange::ofResponse(head.field("Content-Range")).value_or(ByteRange());
  else if (head.status == 200)
    _cutOut(head);
  _head = head;
  switch (_observer.fetchGotHead(head)) {
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

bool Fetch::_isUnpacked(ResourceHead& head) {
  const std::string encoding = head.field("Content-Encoding");
  if (encoding.empty() || isSameName(encoding, "identity")) return true;
  // One layer of these swells at most a thousandfold; others, and layers of layers, know no bound.
  if (!isSameName(encoding, "gzip") && !isSameName(encoding, "x-gzip") &&
      !isSameName(encoding, "deflate"))
    return _refuse(URLErrorCode::BadServerResponse,
                   "It is encoded in a way that was not asked for.");
  head.length.reset();
  head.removeField("Content-Encoding");
  head.removeField("Content-Length");
  head.removeField("Accept-Ranges");
  // A tag is that of the packed bytes.
  head.removeField("ETag");
  return true;
}

/// Engines are at a loss when they ask for a part and get everything.
void Fetch::_cutOut(ResourceHead& head) {
  if (!head.length || *head.length == 0 || !head.field("icy-metaint").empty()) return;
  auto part = ByteRange::ofRequest(_request.range, head.length);
  if (!part || (part->first == 0 && !part->last)) return;
  if (part->first >= *head.length) {
    head.status = 416;
    return;
  }
  part->total = head.length;
  part->last = std::min(part->last.value_or(*head.length - 1), *head.length - 1);
  head.status = 206;
  head.length = *part->last - part->first + 1;
  head.removeField("Content-Length");
  head.fields.emplace_back("Content-Range", part->responseField());
  _part = *part;
  _isCutOut = true;
  _attempt->bytesBefore = _part.first;
}

bool Fetch::_isTheSame(const ResourceHead& head) {
  if (_passedBytes == 0 && _request.range.empty()
          ? head.status == _head->status && head.length == _head->length
          : _goesOn(head)) {
    if (head.status == 200) _attempt->bytesBefore = _part.first + _passedBytes;
    return true;
  }
  return _refuse(URLErrorCode::NetworkConnectionLost,
                 "The server cannot go on where it broke off.");
}

/// With what was asked for, or with everything once more.
bool Fetch::_goesOn(const ResourceHead& head) const {
  const std::string tag = head.field("ETag");
  const std::string oldTag = _head->field("ETag");
  if (head.status == 200)
    return head.length && head.length == _part.total && tag == oldTag &&
           head.field("Last-Modified") == _head->field("Last-Modified");
  const auto part = ByteRange::ofResponse(head.field("Content-Range"));
  return head.status == 206 && part && part->first == _part.first + _passedBytes &&
         (!part->total || !_part.total || part->total == _part.total) &&
         (tag.empty() || oldTag.empty() || tag == oldTag);
}

/// Of what comes with this attempt. Nothing is left of it behind the end.
std::string_view Fetch::_wanted(std::string_view bytes) {
  const auto before = std::min<std::uint64_t>(_attempt->bytesBefore, bytes.size());
  _attempt->bytesBefore -= before;
  bytes.remove_prefix(static_cast<std::size_t>(before));
  if (!_isCutOut) return bytes;
  const std::uint64_t rest = *_part.last - _part.first + 1 - _passedBytes;
  return bytes.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(rest, bytes.size())));
}

std::size_t Fetch::_gotBytes(std::string_view bytes) {
  Attempt& attempt = *_attempt;
  if (attempt.verdict == Verdict::Redirect || attempt.verdict == Verdict::TryAgain) {
    attempt.skippedBytes += bytes.size();
    return attempt.skippedBytes > kMostSkippedBytes ? 0 : bytes.size();
  }
  if (attempt.verdict != Verdict::None) return 0;
  if (_isPaused) {
    attempt.isHeld = true;
    return CURL_WRITEFUNC_PAUSE;
  }
  _noteByte();
  _countBytes();
  const std::size_t size = bytes.size();
  const bool isBefore = attempt.bytesBefore >= size;
  bytes = _wanted(bytes);
  if (isBefore) return size;
  if (bytes.empty()) {  // all that was wanted has come
    attempt.verdict = Verdict::Abort;
    return 0;
  }
  _passedBytes += bytes.size();
  attempt.passedBytes += bytes.size();
  if (attempt.passedBytes >= kForgivingBytes) _retries = 0;
  switch (_observer.fetchGotBytes(bytes)) {
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

void Fetch::resume() {
  if (!std::exchange(_isPaused, false) || !_attempt) return;
  _meter.resume();
  _noteByte();
  _timer.start(_item.bounds().stall, [this] { _silent(); });
  if (!std::exchange(_attempt->isHeld, false)) return;
  const CURLcode code = curl_easy_pause(_attempt->transfer.get(), CURLPAUSE_CONT);
  if (code == CURLE_OK) return;
  // What was held was not taken, which libcurl tells here alone.
  _timer.start(std::chrono::milliseconds(0), [this, code] {
    _loop.remove(_attempt->transfer.get());
    _attemptEnded(code);
  });
}

void Fetch::_countBytes() {
  curl_off_t bytes = 0;
  curl_easy_getinfo(_attempt->transfer.get(), CURLINFO_SIZE_DOWNLOAD_T, &bytes);
  const auto count = static_cast<std::uint64_t>(bytes);
  if (count <= _attempt->countedBytes) return;
  _meter.got(count - std::exchange(_attempt->countedBytes, count));
}

void Fetch::_noteByte() { _deadline = monotonicSeconds() + secondsOf(_item.bounds().stall); }

void Fetch::_silent() {
  if (_isPaused) return;
  const double rest = _deadline - monotonicSeconds();
  if (rest > 0) {
    const auto milliseconds = static_cast<std::int64_t>(std::ceil(rest * 1000));
    _timer.start(std::chrono::milliseconds(milliseconds), [this] { _silent(); });
    return;
  }
  _item.record().addStall();
  _attempt->verdict = Verdict::Stalled;
  _loop.remove(_attempt->transfer.get());
  _attemptEnded(CURLE_OPERATION_TIMEDOUT);
}

void Fetch::_attemptEnded(CURLcode code) {
  _timer.cancel();
  _countBytes();
  _meter.end();
  const auto attempt = std::move(_attempt);
  switch (attempt->verdict) {
    case Verdict::Redirect:
      return _redirect(attempt->transfer.get());
    case Verdict::TryAgain:
      return _tryAgain(networkError(URLErrorCode::BadServerResponse));
    case Verdict::Refuse:
      return _end(std::move(attempt->refusal));
    case Verdict::Abort:
      return _end(std::nullopt);
    case Verdict::Stalled:
      // A server that has not said a word is not waited for again.
      return _head ? _tryAgain(networkError(URLErrorCode::TimedOut))
                   : _end(networkError(URLErrorCode::TimedOut));
    case Verdict::None:
      break;
  }
  if (code != CURLE_OK)
    return isPassing(code) ? _tryAgain(errorOfTransfer(code)) : _end(errorOfTransfer(code));
  if (!attempt->hasHead) return _end(networkError(URLErrorCode::BadServerResponse));
  _end(std::nullopt);
}

void Fetch::_redirect(CURL* transfer) {
  char* target = nullptr;
  curl_easy_getinfo(transfer, CURLINFO_REDIRECT_URL, &target);
  if (!target || !isWebURL(target))
    return _end(networkError(URLErrorCode::BadServerResponse,
                             "It redirects to an address of another kind."));
  if (++_redirects > _item.bounds().redirects)
    return _end(networkError(URLErrorCode::BadServerResponse, "It redirects too often."));
  _request.url = target;
  _try();
}

bool Fetch::_canContinue() const {
  if (!_head) return true;
  if (_head->status != 200 && _head->status != 206) return false;
  if (_passedBytes == 0 && _request.range.empty()) return true;
  if (_request.acceptsEncodings && !_head->length) return false;
  if (!_head->field("icy-metaint").empty()) return false;
  if (_head->status == 206 && !_part.last) return false;
  return _part.total || !validatorOf(*_head).empty();
}

void Fetch::_tryAgain(platform::Error otherwise) {
  const auto& backOff = _item.bounds().backOff;
  if (_retries >= backOff.size() || !_canContinue()) return _end(std::move(otherwise));
  _item.record().addRetry();
  _timer.start(backOff[_retries++], [this] { _try(); });
}

void Fetch::_end(std::optional<platform::Error> error) { _observer.fetchEnded(std::move(error)); }

}  // namespace box
