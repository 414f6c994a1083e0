#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "box/services/bus/BusCalls.h"
#include "box/services/bus/BusConnection.h"
#include "box/services/support/FileDescriptor.h"

namespace box {

/// The part of logind that this box needs: to hear that the device is about to sleep before it
/// does, and to keep it from that.
///
/// While logind is there, sleep waits for this process: it is told, does what is to be done, and
/// lets sleep go on with finishSleepStep(), or is passed over after five seconds. What else holds
/// the device off is wanted or not, whether logind is there or not; it comes into effect when
/// logind is, and again after each sleep. logind missing, back, and refusing are one line each.
///
/// Threads: the service thread, or while that does not run.
class Logind final : public BusConnection::Client {
 public:
  static constexpr const char* kService = "org.freedesktop.login1";
  static constexpr const char* kPath = "/org/freedesktop/login1";
  static constexpr const char* kInterface = "org.freedesktop.login1.Manager";

  /// `willSleep` is called on the service thread.
  Logind(ServiceThread& thread, platform::Duration sleepStepLimit, std::function<void()> willSleep);

  /// Not to sleep, or dim, for want of input.
  void setBlocksIdle(bool blocks) { _want(kIdle, blocks); }
  /// Not to sleep at all.
  void setBlocksSleep(bool blocks) { _want(kSleep, blocks); }
  void finishSleepStep();
  /// Somebody is there.
  void reportActivity();

  void busDidConnect(sd_bus* bus) override;
  void busDidDisconnect() override;

 private:
  struct Inhibitor {
    const char* what;
    const char* mode;
    const char* why;
    bool isWanted = false;
    /// Holding it is the inhibition.
    FileDescriptor held{};
    BusSlot question{};
    bool saidRefused = false;
  };
  static constexpr std::size_t kSleepStep = 0;
  static constexpr std::size_t kIdle = 1;
  static constexpr std::size_t kSleep = 2;

  void _want(std::size_t index, bool wanted);
  void _take(Inhibitor& inhibitor);
  void _release(Inhibitor& inhibitor);
  void _takeAll();
  void _setPresent(bool present);
  void _prepareForSleep(bool begins);

  ServiceThread& _thread;
  const platform::Duration _sleepStepLimit;
  const std::function<void()> _willSleep;

  sd_bus* _bus = nullptr;
  BusNameWatch _name;
  BusSlot _sleepSignal;
  bool _isPresent = false;
  bool _saidMissing = false;
  /// Until it is awake again logind takes no inhibitors.
  bool _isGoingToSleep = false;
  platform::Token _limit;
  std::array<Inhibitor, 3> _inhibitors{{
      {"sleep", "delay", "What plays is ended and its sender told"},
      {"idle", "block", "Something is playing"},
      {"sleep", "block", "A sender is being kept from playing"},
  }};
};

}  // namespace box
