#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/TVSLogger.h"

namespace platform {

/// While it lives, a failed assertion throws what it says.
class ThrowingAssertions {
 public:
  struct Failure : std::runtime_error {
    explicit Failure(const AssertionFailure& failure)
        : std::runtime_error(failure.operation + "|" + failure.source + "|" + failure.condition) {}
  };
  ThrowingAssertions() {
    setAssertionHandler([](const AssertionFailure& failure) { throw Failure(failure); });
  }
  ~ThrowingAssertions() { setAssertionHandler(nullptr); }
};

/// A logger of its own: every line as it was written.
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

class Thing : public Object {
 public:
  std::string className() const override { return "Thing"; }
};

}  // namespace platform
