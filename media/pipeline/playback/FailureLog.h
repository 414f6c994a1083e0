#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "platform/media/MediaEngine.h"

namespace media {

/// The failures of a load that do not end it, for the error log.
///
/// Threads: any.
class FailureLog {
 public:
  void add(platform::FailedRequest failure) {
    const std::lock_guard lock(_mutex);
    if (_failures.size() < platform::MediaEngine::kMaxFailedRequests)
      _failures.push_back(std::move(failure));
  }
  std::vector<platform::FailedRequest> all() const {
    const std::lock_guard lock(_mutex);
    return _failures;
  }

 private:
  mutable std::mutex _mutex;
  std::vector<platform::FailedRequest> _failures;
};

}  // namespace media
