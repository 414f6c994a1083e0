#pragma once

#include <optional>

namespace upnp {

/// Error codes of actions, as UPnP and the AV services number them.
enum class Error {
  InvalidAction = 401,
  InvalidArgs = 402,
  ActionFailed = 501,
  TransitionNotAvailable = 701,
  InvalidName = 10701,             ///< RenderingControl: 701, which AVTransport uses as well
  InvalidRenderingInstance = 702,  ///< RenderingControl
  InvalidConnection = 706,         ///< ConnectionManager
  SeekModeNotSupported = 710,
  IllegalSeekTarget = 711,
  PlayModeNotSupported = 712,
  IllegalMimeType = 714,
  ResourceNotFound = 716,
  PlaySpeedNotSupported = 717,
  InvalidInstance = 718,
};

/// The number for controllers.
constexpr int codeOf(Error error) { return static_cast<int>(error) % 10000; }

/// The outcome of an action: none if it has succeeded.
using Failure = std::optional<Error>;

}  // namespace upnp
