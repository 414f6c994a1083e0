#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "box/services/dbus/Inbox.h"
#include "platform/foundation/Dictionary.h"
#include "platform/foundation/log/TVSLogger.h"

namespace box {

/// A log sink that queues lines for the thread of the server.
///
/// The queue holds kMaximumLines. Further lines are dropped and counted, so that a blocked server
/// does not use more and more memory.
///
/// Threads: write() on any; take() on the server's.
class LogForwarder final : public platform::LogSink {
 public:
  static constexpr std::size_t kMaximumLines = 500;

  struct Line {
    std::string text;
    platform::Dictionary info;  ///< "time", "level" and "component"
  };

  /// `deliver` is posted to `inbox` when the queue is no longer empty.
  LogForwarder(std::shared_ptr<Inbox> inbox, std::function<void()> deliver)
      : _inbox(std::move(inbox)), _deliver(std::move(deliver)) {}

  void write(const platform::LogLine& line) override;
  /// Returns the queued lines, oldest first. The last one reports how many lines were dropped.
  std::vector<Line> take();

 private:
  const std::shared_ptr<Inbox> _inbox;
  const std::function<void()> _deliver;

  // Protected by _mutex.
  std::mutex _mutex;
  std::vector<Line> _lines;
  std::size_t _droppedLines = 0;
};

}  // namespace box
