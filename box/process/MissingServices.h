#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string_view>

#include "platform/foundation/queues/Queue.h"
#include "platform/media/TVSStoreMediaItem.h"
#include "platform/services/SystemServices.h"

// Implementations of services that this box does not have. Each behaves as its interface specifies
// for a missing service.
//
// Threads: as specified by the interfaces.

namespace box {

/// Logs once that a service is missing. Thread-safe.
class MissingService {
 public:
  explicit constexpr MissingService(std::string_view name) : _name(name) {}
  void report();

 private:
  const std::string_view _name;
  std::atomic<bool> _reported = false;
};

/// The sound server accepts every player without configuration.
class NullAudioSession final : public platform::TVSAudioSession {
 public:
  void setConfigurationCallback(std::function<void(platform::TVSAudioSession&)> callback) override {
    if (callback) callback(*this);
  }
  bool setCategory(platform::AudioCategory) override { return true; }
};

class NullCloudDataClient final : public platform::TVSCloudDataClient {
 public:
  void connect() override { _service.report(); }
  /// The item is local to this process.
  std::shared_ptr<TVSStoreDataItem> makeDataItem() override {
    return std::make_shared<TVSStoreDataItem>();
  }

 private:
  MissingService _service{"Cloud data"};
};

/// The only view service gets all input while it is presented, so no input has to be routed.
class NullInputLimiting final : public platform::RemoteInputLimitingCenter {
 public:
  void setViewServiceActive(bool) override {}
};

}  // namespace box
