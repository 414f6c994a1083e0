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

/// A client of systemd-logind: takes inhibitor locks and is notified before the device sleeps.
///
/// While logind is available, this process holds a delay inhibitor for sleep. When logind announces
/// sleep, `willSleep` is called; finishSleepPreparation() or the timeout releases the inhibitor.
/// The other inhibitors are taken as soon as they are wanted and logind is available, and again
/// after each sleep. Missing logind, its return and its refusals are logged once each.
///
/// Threads: the service thread, or any thread before it has started and after it has ended.
class Logind final : public BusConnection::Client {
 public:
  static constexpr const char* kService = "org.freedesktop.login1";
  static constexpr const char* kPath = "/org/freedesktop/login1";
  static constexpr const char* kInterface = "org.freedesktop.login1.Manager";

  /// `willSleep` is called on the service thread.
  Logind(ServiceThread& thread, platform::Duration sleepPreparationTimeout,
         std::function<void()> willSleep);

  /// Inhibits idle actions, such as automatic sleep and dimming.
  void setInhibitsIdle(bool inhibits) { _setWanted(kIdleBlock, inhibits); }
  void setInhibitsSleep(bool inhibits) { _setWanted(kSleepBlock, inhibits); }
  void finishSleepPreparation();
  /// Clears the idle hint of the session, because the user is active.
  void reportActivity();

  void busDidConnect(sd_bus* bus) override;
  void busDidDisconnect() override;

 private:
  struct Inhibitor {
    const char* what;
    const char* mode;
    const char* reason;
    bool isWanted = false;
    /// The lock: closing the descriptor releases it.
    FileDescriptor descriptor{};
    BusSlot pendingCall{};
    bool loggedRefusal = false;
  };
  static constexpr std::size_t kSleepDelay = 0;
  static constexpr std::size_t kIdleBlock = 1;
  static constexpr std::size_t kSleepBlock = 2;

  void _setWanted(std::size_t index, bool wanted);
  void _acquire(Inhibitor& inhibitor);
  void _release(Inhibitor& inhibitor);
  void _acquireAll();
  void _setPresent(bool present);
  void _prepareForSleep(bool begins);

  ServiceThread& _thread;
  const platform::Duration _sleepPreparationTimeout;
  const std::function<void()> _willSleep;

  sd_bus* _bus = nullptr;
  BusNameWatch _name;
  BusSlot _sleepSignal;
  bool _isPresent = false;
  bool _loggedMissing = false;
  /// Between the sleep signal and the resume signal logind grants no inhibitors.
  bool _isSleeping = false;
  platform::Token _timeout;
  std::array<Inhibitor, 3> _inhibitors{{
      {"sleep", "delay", "Stops playback and notifies the sender"},
      {"idle", "block", "Playback is active"},
      {"sleep", "block", "Senders are kept from starting playback"},
  }};
};

}  // namespace box
