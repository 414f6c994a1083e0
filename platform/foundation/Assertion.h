#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform {

struct AssertionFailure {
  std::string operation;
  std::string source;  ///< path without its extension, such as TVVorlane/TVVorlaneURLSession
  std::string condition;
};

/// Replaces the abort. The handler must not return; a test throws an exception. Null restores the
/// abort. Not thread-safe: set it before threads start.
using AssertionHandler = std::function<void(const AssertionFailure&)>;
void setAssertionHandler(AssertionHandler handler);

/// Whether the recent log lines are written to stderr before the abort. Default: true. A process
/// whose signal handlers already write these lines turns it off. Not thread-safe.
void setAssertionsWriteLog(bool write);

[[noreturn]] void assertionFailed(std::string_view operation, std::string_view file,
                                  std::string_view condition);

}  // namespace platform

/// Checks for a programming error. A false condition is logged at level 3, written to stderr, and
/// ends the process with abort(). Never use it for external input.
#define TVS_ASSERT(condition) TVS_ASSERT_MESSAGE(condition, #condition)
/// The same with `text` in place of the condition.
#define TVS_ASSERT_MESSAGE(condition, text) \
  (static_cast<bool>(condition) ? void(0) : ::platform::assertionFailed(__func__, __FILE__, text))
