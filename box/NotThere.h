#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/foundation/Queue.h"
#include "platform/services/NowPlayingService.h"
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

class NoProcessAssertions final : public platform::ProcessAssertionService {
 public:
  std::shared_ptr<platform::ProcessAssertion> acquire(std::string_view bundleIdentifier,
                                                      std::uint32_t flags, std::uint32_t reason,
                                                      std::string_view name) override;

 private:
  Absence _absence{"Process assertions"};
};

class NoSystemService final : public platform::SystemService {
 public:
  void wakeSystem(int) override { _absence.tell(); }
  void setVorlaneSessionActive(bool) override { _absence.tell(); }
  void triggerUserActivity() override { _absence.tell(); }

 private:
  Absence _absence{"Waking the device"};
};

class NoPowerManager final : public platform::PowerManager {
 public:
  /// Never 0.
  std::uint32_t createAssertion(const platform::Dictionary& properties,
                                std::uint32_t* identifier) override;
  void releaseAssertion(std::uint32_t) override {}

 private:
  Absence _absence{"Power assertions"};
};

/// The sound system takes any player, so there is nothing to configure, and it interrupts nobody.
class PlainAudioSession final : public platform::TVSAudioSession {
 public:
  void setConfigurationCallback(std::function<void(platform::TVSAudioSession&)> callback) override {
    if (callback) callback(*this);
  }
  bool setCategory(platform::AudioCategory) override { return true; }
};

/// Finds no routes.
class NoAudioRouting final : public platform::AudioRoutingService {
 public:
  explicit NoAudioRouting(platform::MainQueue& mainQueue) : _mainQueue(mainQueue) {}
  std::shared_ptr<platform::AudioRoutingController> makeController(int discoveryMode) override;

 private:
  platform::MainQueue& _mainQueue;
  Absence _absence{"Audio routes"};
};

class NoCloudData final : public platform::TVSCloudDataClient {
 public:
  void connect() override { _absence.tell(); }

 private:
  Absence _absence{"Cloud data"};
};

/// The box's only view service gets all input while it is presented, so there is nothing to route.
class PlainInputLimiting final : public platform::RemoteInputLimitingCenter {
 public:
  void setViewServiceActive(bool) override {}
};

/// Shown on no display outside; kept for the status.
class NowPlayingMemory final : public platform::NowPlayingService {
 public:
  void setEligible(bool) override {}
  void setNowPlayingInfo(const platform::Dictionary& info, int mergePolicy) override;
  void setPlaybackState(platform::NowPlayingPlaybackState state) override;

  /// What plays, without the artwork's data, and "playbackState" (a number) once it is known.
  platform::Dictionary status() const;

 private:
  platform::Dictionary _info;
  std::optional<platform::NowPlayingPlaybackState> _state;
  Absence _absence{"A display for what is playing"};
};

}  // namespace box
