#include <algorithm>
#include <string>

#include "streaming/foundation/Text.h"
#include "streaming/transfer/NetworkErrors.h"
#include "streaming/transfer/http/HTTPFetch.h"

// Evaluates response heads.

namespace streaming {
namespace {

using platform::URLErrorCode;

bool isRedirectStatus(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool isTemporaryStatus(int status) { return status == 502 || status == 503 || status == 504; }

}  // namespace

/// False: the status is not a success; the verdict of the attempt is set.
bool HTTPFetch::_checkStatus(const ResponseHead& head) {
  if (isRedirectStatus(head.status) && !head.field("Location").empty()) {
    _attempt->verdict = Verdict::Redirect;
  } else if (isTemporaryStatus(head.status) && _retries < _item.limits().backOff.size()) {
    _attempt->verdict = Verdict::Retry;
  } else if (head.status == 416 && !_request.span && _request.detectsRanges && !_head) {
    _attempt->verdict = Verdict::RetryWithoutRange;  // the resource is empty
  } else if (head.status >= 300) {
    _attempt->verdict = Verdict::Refuse;
    _attempt->refusal = head.status >= 400 ? httpError(static_cast<unsigned>(head.status))
                                           : networkError(URLErrorCode::BadServerResponse);
  }
  return _attempt->verdict == Verdict::None;
}

bool HTTPFetch::_decode(ResponseHead& head) {
  const std::string encoding = head.field("Content-Encoding");
  if (encoding.empty() || isSameName(encoding, "identity")) return true;
  // One layer of gzip or deflate expands at most by a factor of 1000. Other encodings, and several
  // layers, have no such bound.
  if (!isSameName(encoding, "gzip") && !isSameName(encoding, "x-gzip") &&
      !isSameName(encoding, "deflate"))
    return _refuse(URLErrorCode::BadServerResponse,
                   "The response has an encoding that was not requested.");
  head.length.reset();
  // These fields describe the encoded body.
  for (const char* name : {"Content-Encoding", "Content-Length", "Accept-Ranges", "ETag"})
    removeField(head.fields, name);
  return true;
}

/// Determines which part of the resource the body contains.
bool HTTPFetch::_determinePart(ResponseHead& head) {
  _part = {};
  _part.total = head.length;
  if (head.status != 206) {
    head.status = 200;
    head.totalLength = head.length;
    const bool isAsked = _request.span || _request.detectsRanges;
    head.acceptsRanges = !isAsked && head.length && head.field("Content-Encoding").empty() &&
                         head.field("Accept-Ranges").find("bytes") != std::string::npos;
    return _extractPart(head);
  }
  const auto part = ByteRange::ofResponse(head.field("Content-Range"));
  const std::uint64_t wantedFirst = _request.span ? _request.span->offset : 0;
  if (!part || part->first != wantedFirst)
    return _refuse(URLErrorCode::BadServerResponse,
                   "The server sent a range that was not requested.");
  _part = *part;
  head.offset = part->first;
  head.totalLength = part->total;
  head.length = *part->last - part->first + 1;
  // Title positions of internet radio are relative to the start of the body.
  head.acceptsRanges = head.field("icy-metaint").empty();
  if (_request.span && _request.span->length && *_request.span->length < *head.length) {
    head.length = _request.span->length;
    _part.last = _part.first + *head.length - 1;
    _extractsPart = true;
  }
  if (_part.first == 0 && part->total && *head.length == *part->total) {
    head.status = 200;
    removeField(head.fields, "Content-Range");
  }
  return true;
}

/// The server sends the whole resource; only a part may be requested.
bool HTTPFetch::_extractPart(ResponseHead& head) {
  if (!_isRanged() || !head.field("icy-metaint").empty()) return true;
  _part.first = _request.span->offset;
  if (head.length && _part.first >= *head.length) {
    head.status = 416;
    _attempt->verdict = Verdict::Refuse;
    _attempt->refusal = httpError(416);
    return false;
  }
  if (_request.span->length) _part.last = _part.first + *_request.span->length - 1;
  if (head.length) {
    _part.last = std::min(_part.last.value_or(*head.length - 1), *head.length - 1);
    head.length = *_part.last - _part.first + 1;
  }
  removeField(head.fields, "Content-Length");
  head.status = 206;
  head.offset = _part.first;
  _extractsPart = true;
  _attempt->bytesBefore = _part.first;
  return true;
}

bool HTTPFetch::_continue(const ResponseHead& head) {
  const bool isFirst = _passedBytes == 0 && !_isRanged();
  if (isFirst ? head.length == _head->length : _isUnchanged(head)) {
    if (head.status == 200) _attempt->bytesBefore = _part.first + _passedBytes;
    return true;
  }
  return _refuse(URLErrorCode::NetworkConnectionLost, "The server cannot resume the transfer.");
}

bool HTTPFetch::_isUnchanged(const ResponseHead& head) const {
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

/// The requested part of `bytes`. Empty after the end of the part.
std::string_view HTTPFetch::_requestedPart(std::string_view bytes) {
  const auto before = std::min<std::uint64_t>(_attempt->bytesBefore, bytes.size());
  _attempt->bytesBefore -= before;
  bytes.remove_prefix(static_cast<std::size_t>(before));
  if (!_extractsPart || !_part.last) return bytes;
  const std::uint64_t rest = *_part.last - _part.first + 1 - _passedBytes;
  return bytes.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(rest, bytes.size())));
}

}  // namespace streaming
