#pragma once

#include <string>
#include <string_view>

namespace box {

enum class BusKind { Session, System };

/// "session" or "system".
std::string_view nameOfBus(BusKind kind);

/// Where this process finds the bus: as the environment says, or at the usual place. Empty:
/// nowhere.
std::string addressOfBus(BusKind kind);

/// The socket file of the first address of the list that has one; empty where none has.
std::string socketPathOf(std::string_view address);

}  // namespace box
