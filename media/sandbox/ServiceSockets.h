#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace media {

/// Connects the sandboxed process to local services that are on a list, and to no other.
///
/// A filter of system calls sees no paths, and Landlock does not look at sockets that have one, so
/// that a process could reach the message bus or the box's own socket. For this reason the kernel
/// asks a helper process about each Unix socket and each connection. The sandboxed process gets a
/// socket that can be connected to nothing. When it connects that one to a service on the list, the
/// helper connects another one and puts it in the place of the first. Memory of the sandboxed
/// process is read once, so it gains nothing by changing it.
///
/// Workflow: made before the filter is loaded; serve() with what the filter notifies; the helper
/// ends when no process is left that has the filter. Destroyed without serve(), it ends at once.
class ServiceSockets {
 public:
  /// A folder stands for all sockets below it.
  explicit ServiceSockets(const std::vector<std::string>& paths);
  ~ServiceSockets();
  ServiceSockets(const ServiceSockets&) = delete;
  ServiceSockets& operator=(const ServiceSockets&) = delete;

  /// Waits until the helper has begun. False: the kernel does not let it do its work, and `lack()`
  /// says why.
  bool isReady() const;
  const char* lack() const { return "the helper process cannot look into this one"; }
  /// Hands over the descriptor on which the kernel asks, and leaves the helper to itself.
  bool serve(int notifications);

 private:
  int _channel = -1;
  pid_t _helper = -1;
};

}  // namespace media
