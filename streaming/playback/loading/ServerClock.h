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

/// The civil time of the server of a live presentation. Transfer thread only, except now().
class ServerClock {
 public:
  explicit ServerClock(TransferSource& source) : _source(source) {}

  platform::Date now() const;
  /// Server time minus local time, seconds.
  double offset() const { return _offset; }
  /// Requests the time from `clocks`. `ready` is called once, possibly synchronously, after success
  /// or failure. Only the first call sends requests.
  void synchronize(const std::vector<std::pair<std::string, std::string>>& clocks,
                   std::function<void()> ready);
  void stop();
  /// Uses the Date field of a response until a better time is known.
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

/// Parse an HTTP date (RFC 9110, IMF-fixdate) and an xs:dateTime to seconds since 1970.
std::optional<double> secondsOfHTTPDate(std::string_view text);
std::optional<double> secondsOfDateTime(std::string_view text);

}  // namespace streaming
