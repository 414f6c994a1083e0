#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/foundation/Dictionary.h"

namespace box {

/// The result of a call that is rejected without calling the application.
struct Refusal {
  std::int32_t status;
  const char* reason;  ///< for the log
};

/// Status for arguments that cannot be converted to values: unknown type, nested too deep, too
/// large, not UTF-8.
inline constexpr std::int32_t kBadParameterStatus = -6756;
/// Status of calls after the application was destroyed.
inline constexpr std::int32_t kNoApplicationStatus = -6700;

/// See platform::Application::isFatalAction.
using FatalActionCheck =
    std::function<bool(const std::string& action, const platform::Dictionary& params)>;

// Only calls that would block or abort the application are rejected here. The application replies
// to all other calls itself. Callers inside the process are trusted, D-Bus peers are not.

std::optional<Refusal> refusalOfStartVideo(const platform::Dictionary& params);
/// `isFatal` is only called for actions that may be rejected. It may be empty.
std::optional<Refusal> refusalOfAction(const std::string& action,
                                       const platform::Dictionary& params,
                                       const FatalActionCheck& isFatal);

platform::Dictionary errorInformation(std::int32_t status);

}  // namespace box
