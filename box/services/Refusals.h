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

/// Whether an outstanding request may be answered with a key; true for one that is not outstanding.
using KeyRequestCheck = std::function<bool(std::uint64_t requestID)>;

// What would block the application for ever or end its process. Callers inside the process are
// trusted not to do this; those behind the door are not.

std::optional<Refusal> refusalOfStartVideo(const platform::Dictionary& params);
/// `isKeyRequest` may be empty.
std::optional<Refusal> refusalOfAction(const std::string& action,
                                       const platform::Dictionary& params,
                                       const KeyRequestCheck& isKeyRequest);

/// What the out dictionary of a refused call says.
platform::Dictionary errorInformation(std::int32_t status);

}  // namespace box
