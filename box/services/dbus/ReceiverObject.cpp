#include "box/services/dbus/ReceiverObject.h"

#include <optional>
#include <string>

#include "box/services/dbus/DBusNames.h"
#include "box/services/dbus/Peer.h"
#include "box/services/dbus/Reply.h"
#include "box/services/dbus/ValueReader.h"
#include "platform/foundation/Value.h"

namespace box {

namespace {

using platform::Dictionary;
using platform::Value;
using Delegate = VorlaneReceiverUIDelegate;
using Status = Delegate::Status;

void logRefusal(sd_bus_message* call, const char* reason) {
  TVSLogNotice(kDBusLog, "Rejected %@: %@", sd_bus_message_get_member(call), reason);
}

int sendReply(Peer& peer, sd_bus_message* call, Status status) {
  Reply reply(call);
  reply->appendStatus(status);
  return reply.send(peer);
}

int sendReply(Peer& peer, sd_bus_message* call, Status status, const Dictionary& out) {
  Reply reply(call);
  reply->appendStatus(status);
  reply->appendDictionary(out);
  return reply.send(peer);
}

int sendReplyWithValue(Peer& peer, sd_bus_message* call, Status status, const Value& value) {
  Reply reply(call);
  reply->appendStatus(status);
  reply->appendValueOrNone(value);
  return reply.send(peer);
}

Status reject(sd_bus_message* call, const Refusal& refusal) {
  logRefusal(call, refusal.reason);
  return refusal.status;
}

Status reject(sd_bus_message* call, const ValueReader& arguments) {
  return reject(call, {kBadParameterStatus, arguments.failure()});
}

int getProperty(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  ValueReader arguments(call);
  std::string property;
  Value qualifier;
  if (!arguments.readString(property) || !arguments.readValueOrNone(qualifier)) {
    return sendReplyWithValue(peer, call, reject(call, arguments), {});
  }
  const auto delegate = peer.objects().receiver.delegate();
  if (!delegate) return sendReplyWithValue(peer, call, kNoApplicationStatus, {});
  Status status = 0;
  const Value value = delegate->vorlaneUIGetProperty(property, qualifier, &status);
  return sendReplyWithValue(peer, call, status, value);
}

int setProperty(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  ValueReader arguments(call);
  std::string property;
  Value qualifier;
  Value value;
  if (!arguments.readString(property) || !arguments.readValueOrNone(qualifier) ||
      !arguments.readVariant(value)) {
    return sendReply(peer, call, reject(call, arguments));
  }
  const auto delegate = peer.objects().receiver.delegate();
  if (!delegate) return sendReply(peer, call, kNoApplicationStatus);
  return sendReply(peer, call, delegate->vorlaneUISetProperty(property, qualifier, value));
}

int perform(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  const ReceiverObject& receiver = peer.objects().receiver;
  ValueReader arguments(call);
  std::string action;
  Dictionary params;
  if (!arguments.readString(action) || !arguments.readDictionary(params)) {
    return sendReply(peer, call, reject(call, arguments), errorInformation(kBadParameterStatus));
  }
  const auto delegate = receiver.delegate();
  if (!delegate)
    return sendReply(peer, call, kNoApplicationStatus, errorInformation(kNoApplicationStatus));
  if (const auto refusal = receiver.refusalOfAction(action, params)) {
    return sendReply(peer, call, reject(call, *refusal), errorInformation(refusal->status));
  }
  Dictionary out;
  const Status status = delegate->vorlaneUIPerform(action, params, &out);
  return sendReply(peer, call, status, out);
}

std::optional<Refusal> noRefusal(const Dictionary&) { return std::nullopt; }

template <auto Operation, auto RefusalOf = noRefusal>
int start(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  ValueReader arguments(call);
  Dictionary params;
  if (!arguments.readDictionary(params)) {
    return sendReply(peer, call, reject(call, arguments), errorInformation(kBadParameterStatus));
  }
  const auto delegate = peer.objects().receiver.delegate();
  if (!delegate)
    return sendReply(peer, call, kNoApplicationStatus, errorInformation(kNoApplicationStatus));
  if (const std::optional<Refusal> refusal = RefusalOf(params)) {
    return sendReply(peer, call, reject(call, *refusal), errorInformation(refusal->status));
  }
  Dictionary out;
  const Status status = (delegate.get()->*Operation)(params, &out);
  return sendReply(peer, call, status, out);
}

template <auto Operation>
int callWithParams(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  ValueReader arguments(call);
  Dictionary params;
  if (!arguments.readDictionary(params)) return sendReply(peer, call, reject(call, arguments));
  const auto delegate = peer.objects().receiver.delegate();
  return sendReply(peer, call,
                   delegate ? (delegate.get()->*Operation)(params) : kNoApplicationStatus);
}

template <auto Operation>
int callWithoutParams(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  const auto delegate = peer.objects().receiver.delegate();
  return sendReply(peer, call, delegate ? (delegate.get()->*Operation)() : kNoApplicationStatus);
}

int activity(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  if (const auto delegate = peer.objects().receiver.delegate()) delegate->vorlaneUIActivity();
  return Reply(call).send(peer);
}

int updateAudioProgress(sd_bus_message* call, void* userData, sd_bus_error*) {
  Peer& peer = peerOf(userData);
  if (!peer.authorizes(call)) return replyAccessDenied(call);
  ValueReader arguments(call);
  double elapsed = 0;
  double duration = 0;
  if (!arguments.readDouble(elapsed) || !arguments.readDouble(duration)) {
    return sendReply(peer, call, reject(call, arguments));
  }
  const auto delegate = peer.objects().receiver.delegate();
  return sendReply(
      peer, call,
      delegate ? delegate->vorlaneUIUpdateAudioProgress(elapsed, duration) : kNoApplicationStatus);
}

// sd-bus authorizes every sender. Peer::authorizes() checks permissions.
constexpr std::uint64_t kFlags = SD_BUS_VTABLE_UNPRIVILEGED;

#define PARAMS SD_BUS_ARGS("a{sv}", params)
#define STATUS SD_BUS_RESULT("i", status)
#define STATUS_AND_OUT SD_BUS_RESULT("i", status, "a{sv}", out)

const sd_bus_vtable kReceiverVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("GetProperty", SD_BUS_ARGS("s", property, "av", qualifier),
                            SD_BUS_RESULT("i", status, "av", value), getProperty, kFlags),
    SD_BUS_METHOD_WITH_ARGS("SetProperty", SD_BUS_ARGS("s", property, "av", qualifier, "v", value),
                            STATUS, setProperty, kFlags),
    SD_BUS_METHOD_WITH_ARGS("Perform", SD_BUS_ARGS("s", action, "a{sv}", params), STATUS_AND_OUT,
                            perform, kFlags),
    SD_BUS_METHOD_WITH_ARGS("StartPresentation", PARAMS, STATUS_AND_OUT,
                            start<&Delegate::vorlaneUIStartPresentation>, kFlags),
    SD_BUS_METHOD_WITH_ARGS("StartAudio", PARAMS, STATUS_AND_OUT,
                            start<&Delegate::vorlaneUIStartAudio>, kFlags),
    SD_BUS_METHOD_WITH_ARGS("StartVideo", PARAMS, STATUS_AND_OUT,
                            (start<&Delegate::vorlaneUIStartVideo, refusalOfStartVideo>), kFlags),
    SD_BUS_METHOD_WITH_ARGS("StopPresentation", PARAMS, STATUS,
                            callWithParams<&Delegate::vorlaneUIStopPresentation>, kFlags),
    SD_BUS_METHOD_WITH_ARGS("StopAudio", PARAMS, STATUS,
                            callWithParams<&Delegate::vorlaneUIStopAudio>, kFlags),
    SD_BUS_METHOD_WITH_ARGS("StopVideo", PARAMS, STATUS,
                            callWithParams<&Delegate::vorlaneUIStopVideo>, kFlags),
    SD_BUS_METHOD_WITH_ARGS("UpdateAudioMetaData", PARAMS, STATUS,
                            callWithParams<&Delegate::vorlaneUIUpdateAudioMetaData>, kFlags),
    SD_BUS_METHOD_WITH_ARGS("ShowProgress", SD_BUS_NO_ARGS, STATUS,
                            callWithoutParams<&Delegate::vorlaneUIShowProgress>, kFlags),
    SD_BUS_METHOD_WITH_ARGS("HideProgress", SD_BUS_NO_ARGS, STATUS,
                            callWithoutParams<&Delegate::vorlaneUIHideProgress>, kFlags),
    SD_BUS_METHOD_WITH_ARGS("Activity", SD_BUS_NO_ARGS, SD_BUS_NO_RESULT, activity, kFlags),
    SD_BUS_METHOD_WITH_ARGS("UpdateAudioProgress", SD_BUS_ARGS("d", elapsed, "d", duration), STATUS,
                            updateAudioProgress, kFlags),
    SD_BUS_SIGNAL_WITH_ARGS("Event", SD_BUS_ARGS("s", name, "a{sv}", info), 0),
    SD_BUS_VTABLE_END,
};

#undef PARAMS
#undef STATUS
#undef STATUS_AND_OUT

}  // namespace

const sd_bus_vtable* ReceiverObject::vtable() { return kReceiverVtable; }

std::optional<Refusal> ReceiverObject::refusalOfAction(const std::string& action,
                                                       const Dictionary& params) const {
  if (!_fatalActionCheck) return std::nullopt;
  return box::refusalOfAction(action, params, [this](const auto& name, const auto& details) {
    // After the main queue has stopped, sync() does nothing. The action is not fatal then, because
    // the application gets no more calls.
    bool isFatal = false;
    _mainQueue.sync([&] { isFatal = _fatalActionCheck(name, details); });
    return isFatal;
  });
}

}  // namespace box
