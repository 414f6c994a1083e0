#pragma once

#include <string_view>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

/// The component of the door's log lines: that of the calls it takes.
inline constexpr std::string_view kDoorLog = "TVVLCommunication";

/// The path of the object with all of the door's interfaces.
inline constexpr const char* kDoorPath = "/quorin/tvvorlane/Receiver";
/// The door's name on a message bus.
inline constexpr const char* kDoorBusName = "quorin.tvvorlane";
/// Its unique name on a connection without a bus, which would give it one.
inline constexpr const char* kDoorPeerName = ":1.0";

}  // namespace box
