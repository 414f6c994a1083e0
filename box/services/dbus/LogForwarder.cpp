#include "box/services/dbus/LogForwarder.h"

#include <utility>

#include "box/services/dbus/DBusNames.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

namespace {

LogForwarder::Line forwardedLine(platform::LogLevel level, std::string_view component,
                                 std::string text) {
  return {std::move(text),
          {{"time", platform::SystemClock().date()},
           {"level", static_cast<int>(level)},
           {"component", component}}};
}

}  // namespace

void LogForwarder::write(const platform::LogLine& line) {
  {
    const std::lock_guard lock(_mutex);
    if (_lines.size() == kMaximumLines) {
      ++_droppedLines;
      return;
    }
    _lines.push_back(forwardedLine(line.level, line.component, line.text));
    if (_lines.size() > 1) return;
  }
  _inbox->post(_deliver);
}

std::vector<LogForwarder::Line> LogForwarder::take() {
  const std::lock_guard lock(_mutex);
  auto lines = std::exchange(_lines, {});
  if (const std::size_t dropped = std::exchange(_droppedLines, 0)) {
    lines.push_back(forwardedLine(platform::LogLevel::Warning, kDBusLog,
                                  std::to_string(dropped) + " log lines were dropped"));
  }
  return lines;
}

}  // namespace box
