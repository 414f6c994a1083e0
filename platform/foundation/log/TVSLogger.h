#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/log/LogFormat.h"

namespace platform {

enum class LogLevel : int { Error = 3, Warning = 4, Notice = 5 };

struct LogLine {
  LogLevel level;
  std::string component;
  /// The complete line: prefix, text, one trailing blank.
  std::string text;
};

/// A destination of log lines. write() is called on any thread; calls of one sink are serialized.
/// Lines that write() itself logs go to the recent lines only.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogLine& line) = 0;
};

}  // namespace platform

/// The log component of the platform.
inline constexpr std::string_view TVSSystemLog = "TVSSystemLog";

/// The logger of the process.
///
/// A line is `THREAD #Level #COMPONENT : TEXT ` with the thread tag "#T:[Main]" or "#T:[0x…]". It
/// is written if the level of its component is at least the level of the line. This is tested
/// before the arguments are evaluated. The default level is 5 for persistent components and 3 for
/// the others. Written lines also go to a ring buffer of recent lines.
///
/// Threads: any, after initialize().
class TVSLogger {
 public:
  /// Call it once at process start. Tests call it again: it resets everything except the sinks.
  static void initialize(std::string domain, std::vector<std::string_view> persistentComponents);

  static std::string domain();

  /// Override the level of all components or of one. The level of one component has precedence,
  /// regardless of the order of the calls.
  static void setLevel(int level);
  static void setLevel(std::string_view component, int level);
  /// Raises components with a lower level to `level`, until it is called with 0.
  static void setMinimumLevel(int level);

  static void addSink(std::shared_ptr<platform::LogSink> sink);
  /// Waits until no other thread is inside the sink. Must not be called by a sink.
  static void removeSink(const std::shared_ptr<platform::LogSink>& sink);

  /// From now on lines of the calling thread have the main tag.
  static void setMainThread();

  static bool isEnabled(std::string_view component, platform::LogLevel level);
  /// Adds the prefix and the trailing blank to `text`.
  static void write(std::string_view component, platform::LogLevel level, std::string_view text);

  /// The newest lines, oldest first: at most 1000 lines and 256 KiB.
  static std::vector<std::string> recentLines();
  /// Passes the same lines to `write` in pieces, each followed by a newline. Async-signal-safe
  /// after initialize(). A line that is being written at that moment may be garbled.
  static void dumpRecentLines(void (*write)(const char* text, std::size_t size));
};

#define TVS_LOG(component, level, ...)                                              \
  do {                                                                              \
    if (::TVSLogger::isEnabled((component), (level)))                               \
      ::TVSLogger::write((component), (level), ::platform::formatLog(__VA_ARGS__)); \
  } while (false)

/// `TVSLogNotice(component, "Register session %@", session)`. Placeholders: %@ (any type with a
/// logText(): Value, Error, Object, string, optional), %d (signed), %u (unsigned), %lu (size),
/// %x (hexadecimal), %f (floating point, six decimals).
#define TVSLogError(component, ...) TVS_LOG(component, ::platform::LogLevel::Error, __VA_ARGS__)
#define TVSLogWarning(component, ...) TVS_LOG(component, ::platform::LogLevel::Warning, __VA_ARGS__)
#define TVSLogNotice(component, ...) TVS_LOG(component, ::platform::LogLevel::Notice, __VA_ARGS__)
