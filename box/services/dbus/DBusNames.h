#pragma once

#include <string_view>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

/// Log component of the D-Bus server.
inline constexpr std::string_view kDBusLog = "TVVLCommunication";

inline constexpr const char* kObjectPath = "/quorin/tvvorlane/Receiver";
/// The well-known name on a message bus.
inline constexpr const char* kWellKnownName = "quorin.tvvorlane";
/// The server's unique name on a peer-to-peer connection, where no bus assigns one.
inline constexpr const char* kServerName = ":1.0";

}  // namespace box
