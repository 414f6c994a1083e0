#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string_view>

#include "platform/foundation/queues/Queue.h"
#include "platform/media/TVSStoreMediaItem.h"
#include "platform/services/SystemServices.h"

// The services that this box has no facility for. Each does as its interface says for that case,
// and says so once, in one log line, when it is used for the first time.
//
// Threads: as their interfaces say.

namespace box {

/// Says that a facility is missing, once. Any thread.
class Absence {
 public:
  explicit constexpr Absence(std::string_view what) : _what(what) {}
  void tell();

 private:
  const std::string_view _what;
  std::atomic<bool> _told = false;
};

/// The sound system takes any player, so there is nothing to configure.
class PlainAudioSession final : public platform::TVSAudioSession {
 public:
  void setConfigurationCallback(std::function<void(platform::TVSAudioSession&)> callback) override {
    if (callback) callback(*this);
  }
  bool setCategory(platform::AudioCategory) override { return true; }
};

class NoCloudData final : public platform::TVSCloudDataClient {
 public:
  void connect() override { _absence.tell(); }
  /// Known to this process only.
  std::shared_ptr<TVSStoreDataItem> makeDataItem() override {
    return std::make_shared<TVSStoreDataItem>();
  }

 private:
  Absence _absence{"Cloud data"};
};

/// The box's only view service gets all input while it is presented, so there is nothing to route.
class PlainInputLimiting final : public platform::RemoteInputLimitingCenter {
 public:
  void setViewServiceActive(bool) override {}
};

}  // namespace box
