#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

struct seccomp_notif;

namespace media {

/// The main loop of the helper process of ServiceSockets. Does not allocate.
class SocketHelper {
 public:
  /// `paths` have to outlive it.
  SocketHelper(pid_t client, const std::vector<std::string>& paths);
  ~SocketHelper();
  SocketHelper(const SocketHelper&) = delete;
  SocketHelper& operator=(const SocketHelper&) = delete;

  /// Returns whether it can read the client's memory.
  bool isReady() const { return _memory >= 0; }
  /// Answers notifications until no process with the filter is left.
  void serve(int notifications);

 private:
  /// The result of a call: a negative `error`, or the return `value`; or the kernel executes it.
  struct Result {
    int error = 0;
    std::int64_t value = 0;
    bool continues = false;
  };
  Result _handle(const seccomp_notif& call);
  Result _makeSocket(const seccomp_notif& call);
  Result _connect(const seccomp_notif& call);
  bool _isListed(const char* path) const;
  bool _isBlocking(int clientDescriptor) const;
  int _insert(const seccomp_notif& call, int descriptor, const int* target,
              bool closesOnExecute) const;

  const pid_t _client;
  const std::vector<std::string>& _paths;
  int _memory = -1;
  int _notifications = -1;
};

}  // namespace media
