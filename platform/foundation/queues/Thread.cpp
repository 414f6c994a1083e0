#include "platform/foundation/queues/Thread.h"

#include <system_error>
#include <utility>

#include "platform/foundation/log/TVSLogger.h"

namespace platform {

bool startThread(std::thread& thread, std::function<void()> body) {
  try {
    thread = std::thread(std::move(body));
    return true;
  } catch (const std::system_error& error) {
    TVSLogError(TVSSystemLog, "A thread cannot be started: %@", error.what());
    return false;
  }
}

}  // namespace platform
