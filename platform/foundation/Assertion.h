#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform {

/// What a failed assertion says.
struct AssertionFailure {
  std::string operation;  ///< the function
  std::string source;     ///< path without ending, such as TVVorlane/TVVorlaneURLSession
  std::string condition;
};

/// Called in place of the abort; must not return (a test throws). Null restores the abort. Not
/// thread safe: set before threads start.
using AssertionHandler = std::function<void(const AssertionFailure&)>;
void setAssertionHandler(AssertionHandler handler);

/// Whether the recent log lines are written to stderr before the abort, as they are by default. A
/// box that writes them at every death, by whatever signal, does without. Not thread safe either.
void setAssertionsWriteLog(bool write);

[[noreturn]] void assertionFailed(std::string_view operation, std::string_view file,
                                  std::string_view condition);

}  // namespace platform

/// A programming error ends the process: the line goes to the log at level 3 and to stderr, then
/// abort(). Never for input from outside.
#define TVS_ASSERT(condition) TVS_ASSERT_MESSAGE(condition, #condition)
/// The same with a text of its own in place of the condition.
#define TVS_ASSERT_MESSAGE(condition, text) \
  (static_cast<bool>(condition) ? void(0) : ::platform::assertionFailed(__func__, __FILE__, text))
