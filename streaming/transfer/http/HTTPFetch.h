#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "streaming/transfer/ItemContext.h"
#include "streaming/transfer/Transfer.h"
#include "streaming/transfer/TransferMeter.h"
#include "streaming/transfer/http/ByteRange.h"
#include "streaming/transfer/http/CurlLoop.h"
#include "streaming/transfer/http/HTTPRequest.h"
#include "streaming/transfer/http/HeaderReader.h"

namespace streaming {

class FetchObserver : public TransferObserver {
 public:
  /// Called last, instead of transferEnded(), for a redirect to a URL that is not http or https.
  virtual void fetchRedirected(std::string url) = 0;
};

/// Fetches a resource over HTTP. It follows redirects, retries temporary failures, and resumes an
/// interrupted body if the resource has not changed. If the server ignores a range request, the
/// requested part is extracted. An HTTP status other than success is reported as an error.
///
/// Transfer thread only. Destroying it cancels it. It may be destroyed in transferEnded() and
/// fetchRedirected(), but not in the other callbacks.
class HTTPFetch {
 public:
  struct Request {
    std::string url;  ///< http or https
    bool acceptsEncodings = false;
    bool isTrusted = false;  ///< may use private addresses, until a server redirects it
    /// Without a span: sends an open range request, to detect range support.
    bool detectsRanges = false;
    std::optional<ByteSpan> span;
    HeaderFields fields;
    int redirects = 0;  ///< redirects followed before
  };

  /// The arguments must outlive the fetch.
  HTTPFetch(ItemContext& item, Request request, FetchObserver& observer);
  ~HTTPFetch();
  HTTPFetch(const HTTPFetch&) = delete;
  HTTPFetch& operator=(const HTTPFetch&) = delete;

  void start() { _startAttempt(); }
  /// Continues after BodyFlow::Pause.
  void resume();

 private:
  struct Attempt {
    /// The action when the attempt has ended.
    enum class Verdict { None, Redirect, Retry, RetryWithoutRange, Refuse, Abort, Stalled };

    Attempt(ItemContext& item, const HTTPRequest::Setup& setup)
        : request(item, setup), header(item.limits().headerBytes) {}

    HTTPRequest request;
    HeaderReader header;
    bool hasHead = false;
    bool isHeld = false;  // libcurl holds back bytes until resume()
    std::size_t skippedBytes = 0;
    std::uint64_t bytesBefore = 0;  // bytes of a complete body before the requested part
    std::uint64_t countedBytes = 0;
    std::uint64_t passedBytes = 0;
    Verdict verdict = Verdict::None;
    std::optional<platform::Error> refusal;
  };
  using Verdict = Attempt::Verdict;

  static std::size_t _headerCallback(char* bytes, std::size_t, std::size_t size, void* self);
  static std::size_t _bodyCallback(char* bytes, std::size_t, std::size_t size, void* self);
  static int _connectedCallback(void* self, char* address, char*, int, int);

  void _startAttempt();
  void _attemptEnded(CURLcode code);
  void _redirect();
  void _retry(platform::Error otherwise);
  bool _isRanged() const;
  bool _canContinue() const;
  void _end(const std::optional<platform::Error>& error);

  // Callbacks of an attempt. False: abort it.
  bool _gotLine(std::string_view line);
  bool _gotHead();
  bool _checkStatus(const ResponseHead& head);
  bool _decode(ResponseHead& head);
  bool _determinePart(ResponseHead& head);
  bool _extractPart(ResponseHead& head);
  bool _continue(const ResponseHead& head);
  bool _isUnchanged(const ResponseHead& head) const;
  std::string_view _requestedPart(std::string_view bytes);
  std::size_t _gotBytes(std::string_view bytes);
  bool _refuse(platform::URLErrorCode code, const char* reason);

  void _countBytes();
  void _resetDeadline();
  void _scheduleStallCheck(double seconds);
  void _checkStall();

  ItemContext& _item;
  CurlLoop& _loop;
  Request _request;
  FetchObserver& _observer;
  TransferMeter _meter;
  std::shared_ptr<void> _timer;  // for the next byte or the next attempt
  std::unique_ptr<Attempt> _attempt;
  double _deadline = 0;
  double _slowSince = 0;
  std::uint64_t _slowBytes = 0;
  int _redirects;
  std::size_t _retries = 0;
  bool _isPaused = false;
  std::optional<ResponseHead> _head;  // as reported
  ByteRange _part;                    // the part of the resource in the body
  bool _extractsPart = false;
  std::uint64_t _passedBytes = 0;
};

}  // namespace streaming
