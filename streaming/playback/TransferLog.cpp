#include "streaming/playback/TransferLog.h"

#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

namespace streaming {
namespace {

constexpr std::size_t kMaxErrors = 100;
/// URLs of playlists and error texts of senders have no limit of their own.
constexpr std::size_t kMaxErrorText = std::size_t{128} * 1024;

void truncateErrorText(std::optional<std::string>& text) {
  if (text && text->size() > kMaxErrorText) text->resize(kMaxErrorText);
}

/// Subtracts counters. Other values are those of `later`.
TransferStatistics statisticsSince(TransferStatistics later, const TransferStatistics& earlier) {
  later.requestCount -= earlier.requestCount;
  later.bytesTransferred -= earlier.bytesTransferred;
  later.transferSeconds -= earlier.transferSeconds;
  later.stallCount -= earlier.stallCount;
  later.retryCount -= earlier.retryCount;
  return later;
}

}  // namespace

void TransferLog::addError(platform::Date date, const std::string& url,
                           const platform::Error& error) {
  setFailure(error);
  logError(date, url, error);
}

void TransferLog::setFailure(const platform::Error& error) {
  const std::lock_guard lock(_mutex);
  if (!_failure) _failure = error;
}

void TransferLog::logError(platform::Date date, const std::string& url,
                           const platform::Error& error) {
  ErrorLogEntry entry{date, url.substr(0, kMaxErrorText), error};
  truncateErrorText(entry.error.localizedDescription);
  truncateErrorText(entry.error.localizedFailureReason);
  truncateErrorText(entry.error.localizedRecoverySuggestion);
  const std::lock_guard lock(_mutex);
  _errorLog.push_back(std::move(entry));
  if (_errorLog.size() > kMaxErrors) _errorLog.pop_front();
}

bool TransferLog::mediaReceived(MonotonicTime now, const std::string& representation,
                                std::optional<double> bitrate, double seconds) {
  TransferStatistics statistics = _statistics();
  const std::lock_guard lock(_mutex);
  _failure.reset();
  const bool isFirst = _records.empty();
  const bool isSwitch = !isFirst && _records.back().entry.representation != representation;
  const bool begins = isSwitch || (!isFirst && _records.back().server != statistics.serverAddress);
  if (begins || isFirst) {
    Record& record = _records.emplace_back();
    record.since = now;
    record.server = statistics.serverAddress;
    record.entry.representation = representation;
    record.entry.isSwitch = isSwitch;
    if (begins) {
      // The new entry includes the request that started it.
      if (statistics.requestCount > 0) --statistics.requestCount;
      record.entry.statistics = statistics;
    }
    if (_records.size() > StreamedItem::kMaxAccessLogEntries) _records.pop_front();
  }
  _records.back().entry.indicatedBitrate = bitrate;
  _records.back().entry.mediaSeconds += seconds;
  return begins;
}

void TransferLog::noteRecovery() {
  const std::lock_guard lock(_mutex);
  _failure.reset();
}

std::optional<platform::Error> TransferLog::failure() const {
  const std::lock_guard lock(_mutex);
  return _failure;
}

std::vector<ErrorLogEntry> TransferLog::errorLog() const {
  const std::lock_guard lock(_mutex);
  return {_errorLog.begin(), _errorLog.end()};
}

std::vector<AccessLogEntry> TransferLog::accessLog(MonotonicTime now) const {
  const TransferStatistics statistics = _statistics();
  const std::lock_guard lock(_mutex);
  std::vector<AccessLogEntry> result;
  for (auto each = _records.begin(); each != _records.end(); ++each) {
    const auto next = std::next(each);
    AccessLogEntry entry = each->entry;
    entry.age = std::chrono::duration<double>(now - each->since).count();
    entry.statistics = statisticsSince(next == _records.end() ? statistics : next->entry.statistics,
                                       each->entry.statistics);
    entry.statistics.serverAddress = each->server;
    result.push_back(std::move(entry));
  }
  // Before the first media data there is one entry.
  if (result.empty()) result.push_back({0, {}, {}, false, 0, statistics});
  return result;
}

}  // namespace streaming
