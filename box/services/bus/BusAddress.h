#pragma once

#include <string>
#include <string_view>

namespace box {

enum class BusKind { Session, System };

/// Returns "session" or "system".
std::string_view nameOfBus(BusKind kind);

/// Returns the D-Bus address from the environment, or the standard address.
std::string addressOfBus(BusKind kind);

/// Returns the socket path of the first address in the list that has one, or an empty string.
std::string socketPathOf(std::string_view address);

}  // namespace box
