#include "box/services/power/Logind.h"

#include <utility>

#include <fcntl.h>

#include "platform/foundation/log/TVSLogger.h"

namespace box {

namespace {
constexpr BusMember kInhibit{Logind::kService, Logind::kPath, Logind::kInterface, "Inhibit"};
constexpr BusMember kPrepareForSleep{Logind::kService, Logind::kPath, Logind::kInterface,
                                     "PrepareForSleep"};
/// Whichever session this process belongs to.
constexpr BusMember kSetIdleHint{Logind::kService, "/org/freedesktop/login1/session/auto",
                                 "org.freedesktop.login1.Session", "SetIdleHint"};
}  // namespace

Logind::Logind(ServiceThread& thread, platform::Duration sleepStepLimit,
               std::function<void()> willSleep)
    : _thread(thread), _sleepStepLimit(sleepStepLimit), _willSleep(std::move(willSleep)) {
  _inhibitors[kSleepStep].isWanted = true;
}

void Logind::busDidConnect(sd_bus* bus) {
  _bus = bus;
  _sleepSignal = matchSignal(bus, kPrepareForSleep, [this](sd_bus_message* signal) {
    int begins = 0;
    if (sd_bus_message_read(signal, "b", &begins) >= 0) _prepareForSleep(begins != 0);
  });
  _name = BusNameWatch(bus, kService, [this](bool present) {
    if (!present && !std::exchange(_saidMissing, true)) {
      TVSLogNotice(TVSSystemLog, "There is no logind: sleep is neither noticed nor held off");
    } else if (present && std::exchange(_saidMissing, false)) {
      TVSLogNotice(TVSSystemLog, "logind is there");
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
  _isGoingToSleep = false;
  _limit.reset();
  for (Inhibitor& inhibitor : _inhibitors) {
    _release(inhibitor);
    inhibitor.saidRefused = false;
  }
  _takeAll();
}

void Logind::_want(std::size_t index, bool wanted) {
  Inhibitor& inhibitor = _inhibitors.at(index);
  if (std::exchange(inhibitor.isWanted, wanted) == wanted) return;
  if (wanted) {
    _take(inhibitor);
  } else {
    _release(inhibitor);
  }
}

void Logind::_takeAll() {
  for (Inhibitor& inhibitor : _inhibitors) _take(inhibitor);
}

void Logind::_take(Inhibitor& inhibitor) {
  if (!inhibitor.isWanted || !_isPresent || _isGoingToSleep || inhibitor.held ||
      inhibitor.question) {
    return;
  }
  const BusMessage call = makeCall(_bus, kInhibit);
  if (!call || sd_bus_message_append(call.get(), "ssss", inhibitor.what, "TVVorlane", inhibitor.why,
                                     inhibitor.mode) < 0) {
    return;
  }
  inhibitor.question = sendCall(_bus, call, [&inhibitor](sd_bus_message* reply) {
    inhibitor.question.reset();
    int descriptor = -1;
    if (sd_bus_message_read(reply, "h", &descriptor) >= 0) {
      // The message closes its own.
      inhibitor.held = FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
    } else if (!std::exchange(inhibitor.saidRefused, true)) {
      TVSLogNotice(TVSSystemLog, "logind refuses to %@ %@: %@", inhibitor.mode, inhibitor.what,
                   busErrorText(reply));
    }
  });
}

void Logind::_release(Inhibitor& inhibitor) {
  // An answer that comes too late takes its descriptor along.
  inhibitor.question.reset();
  inhibitor.held.reset();
}

void Logind::_prepareForSleep(bool begins) {
  if (std::exchange(_isGoingToSleep, begins) == begins) return;
  if (!begins) {
    _limit.reset();
    TVSLogNotice(TVSSystemLog, "The device is awake again");
    // The sleep step's may still be held, if that step has never ended.
    _takeAll();
    return;
  }
  TVSLogNotice(TVSSystemLog, "The device is going to sleep");
  _limit = _thread.after(_sleepStepLimit, [this] {
    TVSLogNotice(TVSSystemLog, "What is to be done before sleep takes too long");
    _release(_inhibitors[kSleepStep]);
  });
  _willSleep();
}

void Logind::finishSleepStep() {
  if (!_isGoingToSleep) return;
  _limit.reset();
  _release(_inhibitors[kSleepStep]);
}

void Logind::reportActivity() {
  if (!_isPresent) return;
  const BusMessage call = makeCall(_bus, kSetIdleHint);
  if (call && sd_bus_message_append(call.get(), "b", 0) >= 0) sendCall(_bus, call);
}

}  // namespace box
