#include "TVVorlane/TVVorlaneReceiverDelegate.h"

#include <cmath>

#include "TVVorlane/TVVorlaneInfoSession.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/TVVorlaneStatusCodes.h"
#include "TVVorlane/TVVorlaneStreamingAudioSession.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "platform/foundation/Assertion.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/services/Platform.h"

using platform::Dictionary;
using platform::Error;
using platform::Platform;
using platform::Value;
using Status = VorlaneReceiverUIDelegate::Status;
using Manager = TVVorlaneSessionManager;

namespace {

constexpr std::string_view kReceiverQueueLabel = "quorin.tvvorlane.receiver";
constexpr std::string_view kSessionIDKey = "sessionID";

std::string abbreviated(const Value& value) {
  return TVVorlaneUtilities::dataAbbreviatedDescription(value);
}

Status statusOf(const Error& error) { return static_cast<Status>(error.code); }

void assertNotMain(const char* operation) {
  if (Platform::current().mainQueue().isCurrent()) {
    platform::assertionFailed(operation, __FILE__, "!isMainThread");
  }
}

void reportUserActivity() { Platform::current().systemService().triggerUserActivity(); }

}  // namespace

/// State of a running call. Shared between the main thread, which sets the result, and the receiver
/// queue, which waits. A start completion may run after the call has returned because the main
/// queue was closed.
struct TVVorlaneReceiverDelegate::Call {
  Status status = kTVVorlaneStatusSuccess;
  std::optional<Dictionary> out;
  platform::WaitGroup group;
};

std::shared_ptr<TVVorlaneReceiverDelegate> TVVorlaneReceiverDelegate::make() {
  std::shared_ptr<TVVorlaneReceiverDelegate> delegate(new TVVorlaneReceiverDelegate);
  delegate->_init();
  return delegate;
}

TVVorlaneReceiverDelegate::TVVorlaneReceiverDelegate() = default;

void TVVorlaneReceiverDelegate::_init() {
  Platform::current().nowPlaying().setEligible(true);
  _receiverQueue = std::make_shared<platform::SerialQueue>(std::string(kReceiverQueueLabel));
  Platform::current().receiverServiceClient().setDelegate(weak_from_this(), _receiverQueue);
  TVSLogNotice(TVVLCommunication, "*Vorlane Receiver Configured*");
}

Status TVVorlaneReceiverDelegate::_allowInterruption(std::optional<Dictionary>&) {
  return kTVVorlaneStatusSuccess;
}

bool TVVorlaneReceiverDelegate::_isInterruptionAllowed(Call& call) {
  call.status = _allowInterruption(call.out);
  if (call.status == kTVVorlaneStatusSuccess) return true;
  TVSLogNotice(TVVLCommunication, "Interruption not allowed");
  return false;
}

TVVorlaneReceiverDelegate::CallResult TVVorlaneReceiverDelegate::_runCall(
    const std::function<void(const std::shared_ptr<Call>&)>& body) {
  const auto call = std::make_shared<Call>();
  // The main queue accepts no work while the process is terminating.
  if (!Platform::current().mainQueue().sync([&] { body(call); }))
    return {kTVVorlaneStatusFailed, std::nullopt};
  call->group.wait();
  return {call->status, call->out};
}

Status TVVorlaneReceiverDelegate::_answer(const CallResult& outcome, Dictionary* outputParams) {
  if (outputParams) *outputParams = outcome.out.value_or(Dictionary());
  return outcome.status;
}

void TVVorlaneReceiverDelegate::_startAndWait(
    const SessionPtr& session, const Dictionary& options, const std::shared_ptr<Call>& call,
    std::function<void(const std::optional<Dictionary>&, const std::optional<Error>&)> started) {
  session->setDelegate(weak_from_this());
  call->group.enter();
  session->startWithOptions(
      options, [call, started = std::move(started)](const auto& outInfo, const auto& error) {
        started(outInfo, error);
        call->group.leave();
      });
}

void TVVorlaneReceiverDelegate::_startSession(const SessionPtr& session, const Dictionary& params,
                                              const std::shared_ptr<Call>& call) {
  _startAndWait(session, params, call, [call](const auto& outInfo, const auto& error) {
    call->out = outInfo;
    if (!error) return;
    TVSLogNotice(TVVLCommunication, "Failed to start with err: %@", error);
    call->out = TVVorlaneUtilities::errorToDictionary(error);
    call->status = statusOf(*error);
  });
}

Value TVVorlaneReceiverDelegate::vorlaneUIGetProperty(const std::string& property,
                                                      const Value& qualifier, Status* error) {
  TVSLogNotice(TVVLCommunication, "vorlaneUIGetProperty: %@", property);
  assertNotMain(__func__);
  Value result;
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    const auto session = Manager::sharedInstance()->urlSessionWithID({});
    if (!session) {
      TVSLogNotice(TVVLCommunication, "No active session, could not get property: %@", property);
      call->status = kTVVorlaneStatusNoSession;
      return;
    }
    std::optional<Error> failure;
    result = session->getProperty(property, qualifier, &failure);
    if (failure) {
      TVSLogNotice(TVVLCommunication, "Could not get property: %@ error: %@", property, failure);
      call->status = statusOf(*failure);
    }
  });
  if (outcome.status != kTVVorlaneStatusSuccess && error) *error = outcome.status;
  return result;
}

Status TVVorlaneReceiverDelegate::vorlaneUISetProperty(const std::string& property,
                                                       const Value& qualifier, const Value& value) {
  TVSLogNotice(TVVLCommunication, "vorlaneUISetProperty (%@): %@", property, abbreviated(value));
  assertNotMain(__func__);
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    const auto session = Manager::sharedInstance()->urlSessionWithID({});
    if (!session) {
      TVSLogNotice(TVVLCommunication, "No active session, could not set property: %@", property);
      call->status = kTVVorlaneStatusNoSession;
      return;
    }
    std::optional<Error> failure;
    if (!session->setProperty(property, qualifier, value, &failure)) {
      TVSLogNotice(TVVLCommunication, "Could not set property: %@ error: %@", property, failure);
      // A write that fails without an error succeeds. A stop that fails without an error does not.
      if (failure) call->status = statusOf(*failure);
    }
  });
  return outcome.status;
}

Status TVVorlaneReceiverDelegate::vorlaneUIPerform(const std::string& action,
                                                   const Dictionary& inputParams,
                                                   Dictionary* outputParams) {
  TVSLogNotice(TVVLCommunication, "vorlaneUIPerform (%@): %@", action, abbreviated(inputParams));
  assertNotMain(__func__);
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    if (action == kTVVorlaneShowPINCommand || action == kTVVorlaneIncompatibleSenderCommand) {
      _performInfoAction(action, inputParams, call);
    } else if (action == kTVVorlaneHidePINCommand) {
      call->status = _hidePIN(inputParams);
    } else {
      _performSessionAction(action, inputParams, *call);
    }
  });
  return _answer(outcome, outputParams);
}

void TVVorlaneReceiverDelegate::_performInfoAction(const std::string& action,
                                                   const Dictionary& inputParams,
                                                   const std::shared_ptr<Call>& call) {
  if (const auto shown = Manager::sharedInstance()->infoSessionWithID({}))
    shown->stopWithOptions(inputParams, nullptr);
  Dictionary options{{std::string(TVVorlaneInfoSessionCommand), action}};
  options.merge(inputParams);
  _startAndWait(std::make_shared<TVVorlaneInfoSession>(), options, call,
                [call](const auto&, const auto& error) {
                  call->status = error ? statusOf(*error) : kTVVorlaneStatusSuccess;
                });
}

Status TVVorlaneReceiverDelegate::_hidePIN(const Dictionary& inputParams) {
  std::optional<Error> failure;
  if (const auto shown = Manager::sharedInstance()->infoSessionWithID({})) {
    shown->stopWithOptions(inputParams, &failure);
  }
  return failure ? statusOf(*failure) : kTVVorlaneStatusSuccess;
}

void TVVorlaneReceiverDelegate::_performSessionAction(const std::string& action,
                                                      const Dictionary& inputParams, Call& call) {
  std::optional<Error> failure;
  const auto session = Manager::sharedInstance()->urlSessionWithID(inputParams.get(kSessionIDKey));
  if (!session) {
    TVSLogNotice(TVVLCommunication, "No active session, could handleAction: %@", action);
    failure = Error::status(kTVVorlaneStatusNoSession);
  } else if (session->performAction(action, inputParams, &call.out, &failure)) {
    return;
  } else {
    TVSLogNotice(TVVLCommunication, "Could not perform action: %@ error: %@", action, failure);
  }
  call.out = TVVorlaneUtilities::errorToDictionary(failure);
  if (failure) call.status = statusOf(*failure);
}

Status TVVorlaneReceiverDelegate::vorlaneUIStartPresentation(const Dictionary& params,
                                                             Dictionary* outputParams) {
  TVSLogNotice(TVVLCommunication, "vorlaneUIStartPresentation: %@", abbreviated(params));
  assertNotMain(__func__);
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    if (!_isInterruptionAllowed(*call)) return;
    reportUserActivity();
    _startSession(std::make_shared<TVVorlanePresentationSession>(), params, call);
  });
  const Value out = outcome.out ? Value(*outcome.out) : Value();
  TVSLogNotice(TVVLCommunication, "vorlaneUIStartPresentation (complete): %@ err:  %d",
               abbreviated(out), outcome.status);
  return _answer(outcome, outputParams);
}

Status TVVorlaneReceiverDelegate::vorlaneUIStartVideo(const Dictionary& params,
                                                      Dictionary* outputParams) {
  TVSLogNotice(TVVLCommunication, "vorlaneUIStartVideo: %@", abbreviated(params));
  assertNotMain(__func__);
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    if (_isInterruptionAllowed(*call))
      _startSession(std::make_shared<TVVorlaneURLSession>(), params, call);
  });
  return _answer(outcome, outputParams);
}

Status TVVorlaneReceiverDelegate::vorlaneUIStartAudio(const Dictionary& params,
                                                      Dictionary* outputParams) {
  TVSLogNotice(TVVLCommunication, "vorlaneUIStartAudio: %@", abbreviated(params));
  assertNotMain(__func__);
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    _startSession(std::make_shared<TVVorlaneStreamingAudioSession>(), params, call);
  });
  return _answer(outcome, outputParams);
}

Status TVVorlaneReceiverDelegate::_stopSession(const SessionPtr& session,
                                               std::string_view operation,
                                               const Dictionary& params) {
  if (!session) {
    TVSLogNotice(TVVLCommunication, "No active session for %@", operation);
    return kTVVorlaneStatusSuccess;
  }
  std::optional<Error> failure;
  if (session->stopWithOptions(params, &failure)) return kTVVorlaneStatusSuccess;
  TVSLogNotice(TVVLCommunication, "Failed to stop with err: %@", failure);
  return failure ? statusOf(*failure) : kTVVorlaneStatusFailed;
}

Status TVVorlaneReceiverDelegate::vorlaneUIStopPresentation(const Dictionary& params) {
  TVSLogNotice(TVVLCommunication, "vorlaneUIStopPresentation: %@", abbreviated(params));
  assertNotMain(__func__);
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    const auto session =
        Manager::sharedInstance()->presentationSessionWithID(params.get(kSessionIDKey));
    call->status = _stopSession(session, "vorlaneUIStopPresentation:", params);
  });
  return outcome.status;
}

Status TVVorlaneReceiverDelegate::vorlaneUIStopAudio(const Dictionary& params) {
  TVSLogNotice(TVVLCommunication, "vorlaneUIStopAudio: %@", abbreviated(params));
  assertNotMain(__func__);
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    const auto session =
        Manager::sharedInstance()->streamingSessionWithID(params.get(kSessionIDKey));
    call->status = _stopSession(session, "vorlaneUIStopAudio:", params);
  });
  return outcome.status;
}

Status TVVorlaneReceiverDelegate::vorlaneUIStopVideo(const Dictionary& params) {
  TVSLogNotice(TVVLCommunication, "vorlaneUIStopVideo: %@", abbreviated(params));
  assertNotMain(__func__);
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    const auto session = Manager::sharedInstance()->urlSessionWithID(params.get(kSessionIDKey));
    call->status = _stopSession(session, "vorlaneUIStopVideo:", params);
  });
  return outcome.status;
}

Status TVVorlaneReceiverDelegate::_setShowsProgress(bool shows) {
  reportUserActivity();
  const CallResult outcome = _runCall([&](const std::shared_ptr<Call>& call) {
    const std::string action(shows ? TVVorlanePresentationShowProgressAction
                                   : TVVorlanePresentationHideProgressAction);
    std::optional<Error> failure;
    const auto session = Manager::sharedInstance()->presentationSessionWithID({});
    if (session && session->performAction(action, {}, nullptr, &failure)) return;
    if (shows) {
      TVSLogNotice(TVVLCommunication, "Failed to show progress with err: %@", failure);
    } else {
      TVSLogNotice(TVVLCommunication, "Failed to hide progress with err: %@", failure);
    }
    call->status = failure ? statusOf(*failure) : kTVVorlaneStatusFailed;
  });
  return outcome.status;
}

Status TVVorlaneReceiverDelegate::vorlaneUIShowProgress() {
  TVSLogNotice(TVVLCommunication, "vorlaneUIShowProgress");
  assertNotMain(__func__);
  return _setShowsProgress(true);
}

Status TVVorlaneReceiverDelegate::vorlaneUIHideProgress() {
  TVSLogNotice(TVVLCommunication, "vorlaneUIHideProgress");
  assertNotMain(__func__);
  return _setShowsProgress(false);
}

void TVVorlaneReceiverDelegate::vorlaneUIActivity() { reportUserActivity(); }

Status TVVorlaneReceiverDelegate::vorlaneUIUpdateAudioMetaData(const Dictionary&) {
  assertNotMain(__func__);
  return kTVVorlaneStatusSuccess;
}

Status TVVorlaneReceiverDelegate::vorlaneUIUpdateAudioProgress(double elapsed, double duration) {
  assertNotMain(__func__);
  const double roundedElapsed = std::round(elapsed);
  const double roundedDuration = std::round(duration);
  // Progress reports arrive many times per second. Only whole seconds are forwarded, to save
  // wakeups of the main thread.
  if (roundedElapsed == _lastElapsedTime && roundedDuration == _lastDuration)
    return kTVVorlaneStatusSuccess;
  _runCall([&](const std::shared_ptr<Call>&) {
    Dictionary data;
    data.set(platform::kNowPlayingDuration, roundedDuration);
    data.set(platform::kNowPlayingElapsedTime, roundedElapsed);
    data.set(platform::kNowPlayingTimestamp, Platform::current().clock().date());
    std::optional<Error> failure;
    const auto session = Manager::sharedInstance()->streamingSessionWithID({});
    if (!session || !session->setProperty(std::string(TVVorlaneStreamingAudioTimeDataKey), {}, data,
                                          &failure)) {
      TVSLogNotice(TVVLCommunication, "Failed to set progress with err: %@", failure);
    }
  });
  _lastDuration = roundedDuration;
  _lastElapsedTime = roundedElapsed;
  return kTVVorlaneStatusSuccess;
}

void TVVorlaneReceiverDelegate::session(TVVorlaneSession&, const std::string& didPerformEvent,
                                        const std::optional<Dictionary>& withInfo) {
  TVSLogNotice(TVVLCommunication, "PostEvent: %@", didPerformEvent);
  TVS_ASSERT_MESSAGE(Platform::current().mainQueue().isCurrent(), "isMainThread");
  _receiverQueue->async([name = didPerformEvent, info = withInfo.value_or(Dictionary())] {
    Platform::current().receiverServiceClient().postEvent(name.c_str(), info);
  });
}
