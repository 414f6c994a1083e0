#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/foundation/Value.h"

namespace box {

/// A call that is answered before it reaches the application.
struct Refusal {
  std::int32_t status;
  const char* reason;  ///< for the log
};

/// The status of arguments that have no form as values: of an unknown type, too deep, too large,
/// not UTF-8.
inline constexpr std::int32_t kBadParameterStatus = -6756;
/// The status of calls that come after the application has gone.
inline constexpr std::int32_t kNoApplicationStatus = -6700;

/// As platform::Application::isFatalAction.
using FatalActionCheck =
    std::function<bool(const std::string& action, const platform::Dictionary& params)>;

// What would block the application for ever or end its process, and nothing else: everything that
// the application answers itself reaches it. Callers inside the process are trusted not to do this;
// those behind the door are not.

std::optional<Refusal> refusalOfStartVideo(const platform::Dictionary& params);
/// `isFatal` is asked only about actions that may be refused, and may be empty.
std::optional<Refusal> refusalOfAction(const std::string& action,
                                       const platform::Dictionary& params,
                                       const FatalActionCheck& isFatal);

/// What the out dictionary of a refused call says.
platform::Dictionary errorInformation(std::int32_t status);

}  // namespace box
