#pragma once

#include <string>

namespace media {

class ServiceSockets;

struct SystemCallsResult {
  bool isOn = false;
  bool socketsAreServed = false;
  /// Why one of them is false.
  std::string reason;
};

/// Restricts all threads of the process to the system calls that decoding, network and sound need
/// (seccomp). Harmful calls fail with EPERM. Other calls fail with ENOSYS, which libraries handle
/// like an older kernel. No call kills the process. Unix sockets are handled by `services`.
SystemCallsResult restrictSystemCalls(ServiceSockets& services);

}  // namespace media
