#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "streaming/playback/StreamedItem.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// Records the errors of an item, and which server and representation were used when. Any thread.
class TransferLog {
 public:
  /// `statistics` returns the current statistics of the item.
  explicit TransferLog(std::function<TransferStatistics()> statistics)
      : _statistics(std::move(statistics)) {}

  /// Records an error that affects playback.
  void addError(platform::Date date, const std::string& url, const platform::Error& error);
  /// Records an error that playback can continue without.
  void logError(platform::Date date, const std::string& url, const platform::Error& error);
  /// Sets failure() without a log entry.
  void setFailure(const platform::Error& error);
  /// The first bytes of a segment were received. Returns true if a new entry has started: the
  /// server or the representation has changed.
  bool mediaReceived(MonotonicTime now, const std::string& representation,
                     std::optional<double> bitrate, double seconds);
  /// Other media data was received, so the last failure is over.
  void noteRecovery();

  std::optional<platform::Error> failure() const;
  std::vector<ErrorLogEntry> errorLog() const;
  std::vector<AccessLogEntry> accessLog(MonotonicTime now) const;

 private:
  struct Record {
    AccessLogEntry entry;  // `statistics` is the value at its start
    MonotonicTime since;
    std::string server;
  };

  const std::function<TransferStatistics()> _statistics;
  mutable std::mutex _mutex;  // guards the members below
  std::optional<platform::Error> _failure;
  std::deque<ErrorLogEntry> _errorLog;
  std::deque<Record> _records;
};

}  // namespace streaming
