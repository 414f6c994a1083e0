#pragma once

#include <string>

namespace box {

enum class Reachability {
  Accepts,      ///< somebody accepts connections there
  BadURL,       ///< there is no host in it
  UnknownHost,  ///< the name has no address
  Unreachable,  ///< refused, or no way there
  TimedOut,     ///< nobody said anything
};

/// Why the host of an http or https URL may have failed to answer: looks its name up and connects
/// to it.
///
/// Blocks: as long as the system's resolver takes, and at most two seconds for the connection.
Reachability probeReachability(const std::string& url);

}  // namespace box
