#include "box/services/door/BoxObject.h"

#include <string>
#include <utility>

#include "box/services/door/DoorLog.h"
#include "box/services/door/Peer.h"
#include "box/services/door/Reply.h"

namespace box {

/// The box's functions. Shared with the tasks on the main queue; main thread only, once calls come.
struct BoxObject::Functions {
  BoxInterface box;
};

namespace {

constexpr const char* kFailed = SD_BUS_ERROR_FAILED;
/// Seconds. Nobody lets go of a button for a peer that has gone.
constexpr double kLongestHold = 60;

int answerError(sd_bus_message* call, const char* name, const char* text) {
  return sd_bus_reply_method_errorf(call, name, "%s", text);
}

int answerNoSuch(sd_bus_message* call, const char* name) {
  return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "There is no \"%s\"", name);
}

int answerMissing(sd_bus_message* call) {
  return answerError(call, SD_BUS_ERROR_NOT_SUPPORTED, "This box cannot do that");
}

/// Press and Swipe.
template <auto FromName>
int input(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.admits(call)) return answerForbidden(call);
  const char* name = nullptr;
  if (const int result = sd_bus_message_read_basic(call, 's', &name); result < 0) return result;
  const auto what = FromName(name);
  if (!what) return answerNoSuch(call, name);
  return peer.objects().box.input(call, peer, {*what, false});
}

int hold(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.admits(call)) return answerForbidden(call);
  const char* name = nullptr;
  double seconds = 0;
  if (const int result = sd_bus_message_read(call, "sd", &name, &seconds); result < 0)
    return result;
  const auto button = platform::pressTypeFromName(name);
  if (!button) return answerNoSuch(call, name);
  if (!(seconds >= 0 && seconds <= kLongestHold))
    return answerError(call, SD_BUS_ERROR_INVALID_ARGS, "A button is held for up to 60 seconds");
  return peer.objects().box.input(call, peer, {*button, false},
                                  platform::durationFromSeconds(seconds));
}

int screenshot(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.admits(call)) return answerForbidden(call);
  return peer.objects().box.screenshot(call, peer);
}

int status(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.admits(call)) return answerForbidden(call);
  return peer.objects().box.status(call, peer);
}

const sd_bus_vtable kBoxVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("Press", SD_BUS_ARGS("s", button), SD_BUS_NO_RESULT,
                            input<platform::pressTypeFromName>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("Hold", SD_BUS_ARGS("s", button, "d", seconds), SD_BUS_NO_RESULT, hold,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("Swipe", SD_BUS_ARGS("s", direction), SD_BUS_NO_RESULT,
                            input<platform::swipeDirectionFromName>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("Screenshot", SD_BUS_NO_ARGS, SD_BUS_RESULT("ay", png), screenshot,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS("Status", SD_BUS_NO_ARGS, SD_BUS_RESULT("a{sv}", status), status,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

}  // namespace

const sd_bus_vtable* BoxObject::vtable() { return kBoxVtable; }

BoxObject::BoxObject(platform::MainQueue& mainQueue, platform::Duration screenshotLimit,
                     std::shared_ptr<Inbox> inbox)
    : _mainQueue(mainQueue),
      _screenshotLimit(screenshotLimit),
      _inbox(std::move(inbox)),
      _functions(std::make_shared<Functions>()) {}

BoxObject::~BoxObject() { abandon(); }

void BoxObject::abandon() {
  for (const auto& [number, waiting] : _waiting) sd_bus_message_unref(waiting.call);
  _waiting.clear();
}

void BoxObject::setInterface(BoxInterface box) {
  _takesInput = box.input != nullptr;
  _takesPictures = box.screenshot != nullptr;
  _givesStatus = box.status != nullptr;
  _functions->box = std::move(box);
}

void BoxObject::close() { _functions->box = {}; }

int BoxObject::input(sd_bus_message* call, Peer& peer, platform::InputEvent event,
                     platform::Duration held) {
  if (!_takesInput) return answerMissing(call);
  _mainQueue.async([functions = _functions, event, held] {
    if (functions->box.input) functions->box.input(event, held);
  });
  return Reply(call).send(peer);
}

int BoxObject::status(sd_bus_message* call, Peer& peer) {
  if (!_givesStatus) return answerMissing(call);
  std::optional<platform::Dictionary> status;
  _mainQueue.sync([&] {
    if (_functions->box.status) status = _functions->box.status();
  });
  if (!status) return answerError(call, kFailed, "The box is ending");
  Reply reply(call);
  reply->appendDictionary(*status);
  return reply.send(peer);
}

int BoxObject::screenshot(sd_bus_message* call, Peer& peer) {
  if (!_takesPictures) return answerMissing(call);
  const std::uint64_t number = _nextNumber++;
  const platform::TimePoint now = platform::SystemClock().now();
  _waiting[number] = {sd_bus_message_ref(call), peer.weak_from_this(), now + _screenshotLimit};
  // This object may be gone by the time the picture is there; the inbox is closed then.
  const auto taken = [this, inbox = _inbox, number](Picture picture) {
    inbox->post([this, number, picture = std::move(picture)] { _finish(number, picture); });
  };
  _mainQueue.async([functions = _functions, taken] {
    if (functions->box.screenshot) {
      functions->box.screenshot(taken);
    } else {
      taken(nullptr);
    }
  });
  return 1;
}

void BoxObject::_finish(std::uint64_t number, const Picture& picture) {
  const auto found = _waiting.find(number);
  if (found == _waiting.end()) return;
  const Waiting waiting = std::move(found->second);
  _waiting.erase(found);
  if (const auto peer = waiting.peer.lock()) {
    if (picture) {
      Reply reply(waiting.call);
      reply->appendData(*picture);
      reply.send(*peer);
    } else {
      answerError(waiting.call, kFailed, "There is nothing on the screen");
    }
  }
  sd_bus_message_unref(waiting.call);
}

std::optional<platform::TimePoint> BoxObject::deadline() const {
  if (_waiting.empty()) return std::nullopt;
  return _waiting.begin()->second.deadline;
}

void BoxObject::expire(platform::TimePoint now) {
  while (!_waiting.empty() && _waiting.begin()->second.deadline <= now) {
    const Waiting waiting = std::move(_waiting.begin()->second);
    _waiting.erase(_waiting.begin());
    if (const auto peer = waiting.peer.lock()) {
      answerError(waiting.call, SD_BUS_ERROR_TIMEOUT, "The screen could not be read in time");
    }
    sd_bus_message_unref(waiting.call);
  }
}

}  // namespace box
