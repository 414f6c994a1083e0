#include "box/services/dbus/BoxObject.h"

#include <string>
#include <utility>

#include "box/services/dbus/DBusNames.h"
#include "box/services/dbus/Peer.h"
#include "box/services/dbus/Reply.h"

namespace box {

/// Shared with tasks on the main queue. After the setup only the main thread uses it.
struct BoxObject::Functions {
  BoxInterface box;
};

namespace {

constexpr const char* kFailed = SD_BUS_ERROR_FAILED;
/// Maximum duration of a held button. A peer may disconnect before it releases the button.
constexpr double kLongestHoldSeconds = 60;

int replyError(sd_bus_message* call, const char* name, const char* text) {
  return sd_bus_reply_method_errorf(call, name, "%s", text);
}

int replyUnknownName(sd_bus_message* call, const char* name) {
  return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "Unknown name \"%s\"", name);
}

int replyNotSupported(sd_bus_message* call) {
  return replyError(call, SD_BUS_ERROR_NOT_SUPPORTED, "Not supported on this box");
}

template <auto FromName>
int input(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  const char* name = nullptr;
  if (const int result = sd_bus_message_read_basic(call, 's', &name); result < 0) return result;
  const auto what = FromName(name);
  if (!what) return replyUnknownName(call, name);
  return peer.objects().box.input(call, peer, {*what, false});
}

int hold(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  const char* name = nullptr;
  double seconds = 0;
  if (const int result = sd_bus_message_read(call, "sd", &name, &seconds); result < 0)
    return result;
  const auto button = platform::pressTypeFromName(name);
  if (!button) return replyUnknownName(call, name);
  if (!(seconds >= 0 && seconds <= kLongestHoldSeconds))
    return replyError(call, SD_BUS_ERROR_INVALID_ARGS, "seconds must be between 0 and 60");
  return peer.objects().box.input(call, peer, {*button, false},
                                  platform::durationFromSeconds(seconds));
}

int screenshot(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  return peer.objects().box.screenshot(call, peer);
}

int status(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  return peer.objects().box.status(call, peer);
}

int trace(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  int on = 0;
  if (const int result = sd_bus_message_read_basic(call, 'b', &on); result < 0) return result;
  return peer.objects().box.trace(call, peer, on != 0);
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
    SD_BUS_METHOD_WITH_ARGS("Trace", SD_BUS_ARGS("b", on), SD_BUS_NO_RESULT, trace,
                            SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_ARGS("Log", SD_BUS_ARGS("s", text, "a{sv}", info), 0),
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

BoxObject::~BoxObject() { dropPending(); }

void BoxObject::dropPending() {
  for (const auto& [number, waiting] : _pending) sd_bus_message_unref(waiting.call);
  _pending.clear();
}

void BoxObject::setInterface(BoxInterface box) {
  _hasInput = box.input != nullptr;
  _hasScreenshot = box.screenshot != nullptr;
  _hasStatus = box.status != nullptr;
  _functions->box = std::move(box);
}

void BoxObject::close() { _functions->box = {}; }

int BoxObject::input(sd_bus_message* call, Peer& peer, platform::InputEvent event,
                     platform::Duration held) {
  if (!_hasInput) return replyNotSupported(call);
  _mainQueue.async([functions = _functions, event, held] {
    if (functions->box.input) functions->box.input(event, held);
  });
  return Reply(call).send(peer);
}

int BoxObject::status(sd_bus_message* call, Peer& peer) {
  if (!_hasStatus) return replyNotSupported(call);
  std::optional<platform::Dictionary> status;
  _mainQueue.sync([&] {
    if (_functions->box.status) status = _functions->box.status();
  });
  if (!status) return replyError(call, kFailed, "The box is shutting down");
  Reply reply(call);
  reply->appendDictionary(*status);
  return reply.send(peer);
}

int BoxObject::trace(sd_bus_message* call, Peer& peer, bool on) {
  // On a message bus other users could receive the lines.
  if (peer.kind() == Peer::Kind::Bus) {
    return replyError(call, SD_BUS_ERROR_NOT_SUPPORTED, "Log lines are sent over the socket only");
  }
  peer.setTracing(on);
  _traceChanged();
  return Reply(call).send(peer);
}

int BoxObject::screenshot(sd_bus_message* call, Peer& peer) {
  if (!_hasScreenshot) return replyNotSupported(call);
  const std::uint64_t number = _nextNumber++;
  const platform::TimePoint now = platform::SystemClock().now();
  _pending[number] = {sd_bus_message_ref(call), peer.weak_from_this(), now + _screenshotLimit};
  // This object may be destroyed before the callback runs. Then the inbox is closed.
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
  const auto found = _pending.find(number);
  if (found == _pending.end()) return;
  const PendingScreenshot waiting = std::move(found->second);
  _pending.erase(found);
  if (const auto peer = waiting.peer.lock()) {
    if (picture) {
      Reply reply(waiting.call);
      reply->appendData(*picture);
      reply.send(*peer);
    } else {
      replyError(waiting.call, kFailed, "Nothing is shown on the screen");
    }
  }
  sd_bus_message_unref(waiting.call);
}

std::optional<platform::TimePoint> BoxObject::deadline() const {
  if (_pending.empty()) return std::nullopt;
  return _pending.begin()->second.deadline;
}

void BoxObject::expire(platform::TimePoint now) {
  while (!_pending.empty() && _pending.begin()->second.deadline <= now) {
    const PendingScreenshot waiting = std::move(_pending.begin()->second);
    _pending.erase(_pending.begin());
    if (const auto peer = waiting.peer.lock()) {
      replyError(waiting.call, SD_BUS_ERROR_TIMEOUT, "The screenshot timed out");
    }
    sd_bus_message_unref(waiting.call);
  }
}

}  // namespace box
