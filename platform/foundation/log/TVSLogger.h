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
  /// The whole line as it is written: prefix, text, one blank.
  std::string text;
};

/// Where lines go. write() may come from any thread, one call at a time for each sink. What a sink
/// itself logs goes to the recent lines only.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogLine& line) = 0;
};

}  // namespace platform

/// The platform's own component.
inline constexpr std::string_view TVSSystemLog = "TVSSystemLog";

/// The process's logger.
///
/// A line is `THREAD #Level #COMPONENT : TEXT ` with the thread tag "#T:[Main]" or "#T:[0x…]"; it
/// is written when the component's level is at least the line's. That test is made before any
/// argument is evaluated. Persistent components stand at level 5, the others at 3, unless told
/// otherwise.
///
/// Lines of every component that was asked for, written or not, do not exist: what is below the
/// level costs one comparison. What is written also goes to a ring of recent lines.
///
/// Threads: any, after initialize().
class TVSLogger {
 public:
  /// Once, at process start; again in tests, where it replaces everything but the sinks.
  static void initialize(std::string domain, std::vector<std::string_view> persistentComponents);

  /// The name that initialize() was given.
  static std::string domain();

  /// Overrides: one level for every component, or for one. The one for a component wins, whichever
  /// came first.
  static void setLevel(int level);
  static void setLevel(std::string_view component, int level);

  static void addSink(std::shared_ptr<platform::LogSink> sink);
  /// When it returns, no call of the sink is under way on another thread. Not from within a sink.
  static void removeSink(const std::shared_ptr<platform::LogSink>& sink);

  /// Lines of the calling thread carry the main tag from now on.
  static void setMainThread();

  static bool isEnabled(std::string_view component, platform::LogLevel level);
  /// `text` is complete but for prefix and last blank.
  static void write(std::string_view component, platform::LogLevel level, std::string_view text);

  /// The newest lines, oldest first; at most 1000 lines and 256 KiB, to which a longer line is cut.
  static std::vector<std::string> recentLines();
  /// The same, handed to `write` in pieces, each line with a newline: for a process that dies. From
  /// within a signal's handler too, once initialize() has been called; a line that is being written
  /// at that moment may be torn.
  static void dumpRecentLines(void (*write)(const char* text, std::size_t size));
};

#define TVS_LOG(component, level, ...)                                              \
  do {                                                                              \
    if (::TVSLogger::isEnabled((component), (level)))                               \
      ::TVSLogger::write((component), (level), ::platform::formatLog(__VA_ARGS__)); \
  } while (false)

/// `TVSLogNotice(component, "Register session %@", session)`. Placeholders: %@ (anything with a
/// description: Value, Error, Object, string, optional), %d (signed), %u (unsigned), %lu (size),
/// %x (unsigned, hexadecimal), %f (floating point, six digits). The format is checked against its
/// arguments at compile time.
#define TVSLogError(component, ...) TVS_LOG(component, ::platform::LogLevel::Error, __VA_ARGS__)
#define TVSLogWarning(component, ...) TVS_LOG(component, ::platform::LogLevel::Warning, __VA_ARGS__)
#define TVSLogNotice(component, ...) TVS_LOG(component, ::platform::LogLevel::Notice, __VA_ARGS__)
