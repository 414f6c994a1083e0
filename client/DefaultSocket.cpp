#include "client/DefaultSocket.h"

#include <cstdlib>

#include <unistd.h>

namespace tvvorlane {

std::string defaultSocket() {
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime == '/') return std::string(runtime) + "/tvvorlane/receiver.sock";
  const std::string user = std::to_string(geteuid());
  if (access(("/run/user/" + user).c_str(), W_OK) == 0) {
    return "/run/user/" + user + "/tvvorlane/receiver.sock";
  }
  return "/tmp/tvvorlane-" + user + "/receiver.sock";
}

}  // namespace tvvorlane
