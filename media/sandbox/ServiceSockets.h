#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace media {

/// Connects the sandboxed process to the local services on a list, and to no others.
///
/// A seccomp filter cannot read paths, and Landlock does not restrict path-based sockets, so the
/// process could connect to the message bus or to the box. Therefore the filter sends each socket()
/// for a Unix socket and each connect() as a notification to a helper process. The sandboxed
/// process gets a socket that cannot be connected. When it connects that socket to a service on the
/// list, the helper connects a socket of its own and replaces the descriptor. The helper reads the
/// memory of the sandboxed process only once, so later changes have no effect.
///
/// Workflow: create it before the filter is loaded, then call serve() with the notification
/// descriptor. The helper exits when no process with the filter is left. If the object is destroyed
/// without serve(), the helper exits at once.
class ServiceSockets {
 public:
  /// A folder includes all sockets below it.
  explicit ServiceSockets(const std::vector<std::string>& paths);
  ~ServiceSockets();
  ServiceSockets(const ServiceSockets&) = delete;
  ServiceSockets& operator=(const ServiceSockets&) = delete;

  /// Waits until the helper has started. Returns false if the kernel does not permit its work; the
  /// reason is in reason().
  bool isReady() const;
  const char* reason() const { return "the helper process cannot read the memory of this process"; }
  /// Hands the notification descriptor over to the helper, which then runs on its own.
  bool serve(int notifications);

 private:
  int _channel = -1;
  pid_t _helper = -1;
};

}  // namespace media
