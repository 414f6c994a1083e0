#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Object.h"
#include "platform/foundation/log/TVSLogger.h"
#include "sim/AssertionsThrow.h"

namespace platform {

/// Resets the logger and records the lines that it writes.
class LogCapture {
 public:
  explicit LogCapture(std::vector<std::string_view> persistent = {TVSSystemLog}) {
    TVSLogger::initialize("quorin.test", std::move(persistent));
    TVSLogger::addSink(_sink);
  }
  ~LogCapture() { TVSLogger::removeSink(_sink); }
  const std::vector<std::string>& lines() const { return _sink->lines; }

 private:
  struct Sink : LogSink {
    void write(const LogLine& line) override { lines.push_back(line.text); }
    std::vector<std::string> lines;
  };
  std::shared_ptr<Sink> _sink = std::make_shared<Sink>();
};

class TestObject : public Object {
 public:
  std::string className() const override { return "TestObject"; }
};

}  // namespace platform
