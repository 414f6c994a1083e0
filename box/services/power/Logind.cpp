#include "box/services/power/Logind.h"

#include <utility>

#include <fcntl.h>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {
constexpr BusMember kInhibit{Logind::kService, Logind::kPath, Logind::kInterface, "Inhibit"};
constexpr BusMember kPrepareForSleep{Logind::kService, Logind::kPath, Logind::kInterface,
                                     "PrepareForSleep"};
/// The path "auto" means the session of the caller.
constexpr BusMember kSetIdleHint{Logind::kService, "/org/freedesktop/login1/session/auto",
                                 "org.freedesktop.login1.Session", "SetIdleHint"};
}  // namespace

Logind::Logind(ServiceThread& thread, platform::Duration sleepPreparationTimeout,
               std::function<void()> willSleep)
    : _thread(thread),
      _sleepPreparationTimeout(sleepPreparationTimeout),
      _willSleep(std::move(willSleep)) {
  _inhibitors[kSleepDelay].isWanted = true;
}

void Logind::busDidConnect(sd_bus* bus) {
  _bus = bus;
  _sleepSignal = matchSignal(bus, kPrepareForSleep, [this](sd_bus_message* signal) {
    int begins = 0;
    if (sd_bus_message_read(signal, "b", &begins) >= 0) _prepareForSleep(begins != 0);
  });
  _name = BusNameWatch(bus, kService, [this](bool present) {
    if (!present && !std::exchange(_loggedMissing, true)) {
      TVSLogNotice(TVSSystemLog,
                   "logind is not available: sleep is neither detected nor inhibited");
    } else if (present && std::exchange(_loggedMissing, false)) {
      TVSLogNotice(TVSSystemLog, "logind is available");
    }
    _setPresent(present);
  });
}

void Logind::busDidDisconnect() {
  _setPresent(false);
  _name = {};
  _sleepSignal.reset();
  _bus = nullptr;
}

void Logind::_setPresent(bool present) {
  _isPresent = present;
  _isSleeping = false;
  _timeout.reset();
  for (Inhibitor& inhibitor : _inhibitors) {
    _release(inhibitor);
    inhibitor.loggedRefusal = false;
  }
  _acquireAll();
}

void Logind::_setWanted(std::size_t index, bool wanted) {
  Inhibitor& inhibitor = _inhibitors.at(index);
  if (std::exchange(inhibitor.isWanted, wanted) == wanted) return;
  if (wanted) {
    _acquire(inhibitor);
  } else {
    _release(inhibitor);
  }
}

void Logind::_acquireAll() {
  for (Inhibitor& inhibitor : _inhibitors) _acquire(inhibitor);
}

void Logind::_acquire(Inhibitor& inhibitor) {
  if (!inhibitor.isWanted || !_isPresent || _isSleeping || inhibitor.descriptor ||
      inhibitor.pendingCall) {
    return;
  }
  const BusMessage call = makeCall(_bus, kInhibit);
  if (!call || sd_bus_message_append(call.get(), "ssss", inhibitor.what, "TVVorlane",
                                     inhibitor.reason, inhibitor.mode) < 0) {
    return;
  }
  inhibitor.pendingCall = sendCall(_bus, call, [&inhibitor](sd_bus_message* reply) {
    inhibitor.pendingCall.reset();
    int descriptor = -1;
    if (sd_bus_message_read(reply, "h", &descriptor) >= 0) {
      // The message owns its descriptor and closes it.
      inhibitor.descriptor = FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
    } else if (!std::exchange(inhibitor.loggedRefusal, true)) {
      TVSLogNotice(TVSSystemLog, "logind rejected an inhibitor (%@ %@): %@", inhibitor.mode,
                   inhibitor.what, busErrorText(reply));
    }
  });
}

void Logind::_release(Inhibitor& inhibitor) {
  // Dropping the slot also closes the descriptor of a late reply.
  inhibitor.pendingCall.reset();
  inhibitor.descriptor.reset();
}

void Logind::_prepareForSleep(bool begins) {
  if (std::exchange(_isSleeping, begins) == begins) return;
  if (!begins) {
    _timeout.reset();
    TVSLogNotice(TVSSystemLog, "The device has resumed from sleep");
    // The delay inhibitor is still held if its preparation has not finished.
    _acquireAll();
    return;
  }
  TVSLogNotice(TVSSystemLog, "The device is going to sleep");
  _timeout = _thread.after(_sleepPreparationTimeout, [this] {
    TVSLogNotice(TVSSystemLog, "The preparation for sleep timed out");
    _release(_inhibitors[kSleepDelay]);
  });
  _willSleep();
}

void Logind::finishSleepPreparation() {
  if (!_isSleeping) return;
  _timeout.reset();
  _release(_inhibitors[kSleepDelay]);
}

void Logind::reportActivity() {
  if (!_isPresent) return;
  const BusMessage call = makeCall(_bus, kSetIdleHint);
  if (call && sd_bus_message_append(call.get(), "b", 0) >= 0) sendCall(_bus, call);
}

}  // namespace box
