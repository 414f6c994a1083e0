#pragma once

#include <memory>
#include <stdexcept>

#include "platform/services/Platform.h"
#include "sim/Audio.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "sim/Runner.h"

/// As much of a box as a player needs. Asking for more throws.
class MediaBox final : public platform::Platform {
 public:
  MediaBox() { setCurrent(this); }
  ~MediaBox() override { setCurrent(nullptr); }

  void run() { _runner.run(); }
  void advance(double seconds) { _runner.advance(platform::durationFromSeconds(seconds)); }
  sim::MediaLibrary& media() { return _library; }

  sim::VirtualClock& clock() override { return _runner.clock(); }
  platform::MainQueue& mainQueue() override { return _runner.mainQueue(); }
  sim::NowPlayingService& nowPlaying() override { return _nowPlaying; }
  std::unique_ptr<platform::MediaEngine> makeMediaEngine() override {
    return std::make_unique<sim::MediaEngine>(mainQueue(), clock(), _library);
  }

  platform::ReceiverServiceClient& receiverServiceClient() override { _none(); }
  platform::ProcessAssertionService& processAssertions() override { _none(); }
  platform::SystemService& systemService() override { _none(); }
  platform::PowerManager& powerManager() override { _none(); }
  platform::SystemNotificationService& systemNotifications() override { _none(); }
  platform::DistributedNotificationCenter& distributedNotifications() override { _none(); }
  platform::TVSAudioSession& audioSession() override { _none(); }
  platform::AudioRoutingService& audioRouting() override { _none(); }
  platform::TVSNetworkUtilities& network() override { _none(); }
  platform::TVSCloudDataClient& cloudData() override { _none(); }
  platform::RemoteInputLimitingCenter& remoteInputLimiting() override { _none(); }
  platform::DeviceInfo& device() override { _none(); }
  platform::ViewServiceHost& viewServiceHost() override { _none(); }
  std::shared_ptr<platform::Layer> makeLayer() override { _none(); }

 private:
  [[noreturn]] static void _none() {
    throw std::logic_error("a player does not need this service");
  }

  sim::Runner _runner;
  sim::Journal _journal;
  sim::NowPlayingService _nowPlaying{_journal};
  sim::MediaLibrary _library;
};
