#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/foundation/log/TVSLogger.h"

namespace sim {

/// Records log lines. Threads: any.
class LogRecorder final : public platform::LogSink {
 public:
  void write(const platform::LogLine& line) override {
    const std::lock_guard lock(_mutex);
    _lines.push_back(line);
  }
  std::vector<platform::LogLine> lines() const {
    const std::lock_guard lock(_mutex);
    return _lines;
  }
  void clear() {
    const std::lock_guard lock(_mutex);
    _lines.clear();
  }

 private:
  mutable std::mutex _mutex;
  std::vector<platform::LogLine> _lines;
};

}  // namespace sim
