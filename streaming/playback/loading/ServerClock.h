#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Date.h"
#include "streaming/playback/loading/BodyFetch.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// The civil time of the server of a live presentation, whose clock may differ from ours. Transfer
/// thread only, but for now().
class ServerClock {
 public:
  explicit ServerClock(TransferSource& source) : _source(source) {}

  platform::Date now() const;
  /// Seconds that it is ahead of ours.
  double offset() const { return _offset; }
  /// Asks for the time as a manifest says; `ready` is called once, perhaps at once, when it is
  /// known or cannot be had. It is asked for once.
  void synchronize(const std::vector<std::pair<std::string, std::string>>& clocks,
                   std::function<void()> ready);
  void stop();
  /// The Date of a response, which counts until something better is known.
  void noteResponse(const ResponseHead& head, platform::Date receivedAt);

 private:
  void _tryNext();
  bool _use(const std::string& scheme, const FetchedBody& body);
  void _end();

  TransferSource& _source;
  std::atomic<double> _offset = 0;
  bool _isExact = false;
  bool _isBegun = false;
  std::vector<std::pair<std::string, std::string>> _clocks;
  std::size_t _next = 0;
  MonotonicTime _requestedAt;
  std::unique_ptr<BodyFetch> _fetch;
  std::shared_ptr<void> _timeout;
  std::function<void()> _ready;
};

/// Seconds since 1970 of an HTTP date (RFC 9110, the preferred format), or of an xs:dateTime.
std::optional<double> secondsOfHTTPDate(std::string_view text);
std::optional<double> secondsOfDateTime(std::string_view text);

}  // namespace streaming
