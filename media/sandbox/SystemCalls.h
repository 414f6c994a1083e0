#pragma once

#include <string>

namespace media {

class ServiceSockets;

struct SystemCallsResult {
  bool isOn = false;
  bool socketsAreServed = false;
  /// Why one of them is not so.
  std::string lack;
};

/// Restricts all threads of the process to the system calls that decoding, the network and sound
/// need. Others fail with EPERM where they are known to do harm, else with ENOSYS, which libraries
/// take for an older kernel. None ends the process. Unix sockets are left to `services`.
SystemCallsResult restrictSystemCalls(ServiceSockets& services);

}  // namespace media
