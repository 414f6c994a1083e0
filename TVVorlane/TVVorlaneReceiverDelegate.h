#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "TVVorlane/TVVorlaneSession.h"
#include "TVVorlane/TVVorlaneSessionDelegate.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/services/VorlaneReceiverUIDelegate.h"

/// The one object through which the receiver service reaches the application.
///
/// Every call is logged, carried to the main thread, answered by a session, and returns a status;
/// start calls and the PIN actions keep the receiver queue until the session's start completion has
/// run. Events of the sessions go the other way, asynchronously on the receiver queue, so that one
/// that is posted while a call waits is delivered after that call, in order.
///
/// Threads: the fourteen calls on the receiver queue (asserted not to be the main thread),
/// session() on the main thread (asserted). Lifetime: one a process, never torn down while it runs.
class TVVorlaneReceiverDelegate final
    : public platform::Object,
      public VorlaneReceiverUIDelegate,
      public TVVorlaneSessionDelegate,
      public std::enable_shared_from_this<TVVorlaneReceiverDelegate> {
 public:
  /// Makes it and registers it with the receiver service. Main thread.
  static std::shared_ptr<TVVorlaneReceiverDelegate> make();
  std::string className() const override { return "TVVorlaneReceiverDelegate"; }

  const std::shared_ptr<platform::SerialQueue>& receiverQueue() const { return _receiverQueue; }
  /// Seconds, as last passed on. Receiver queue.
  double lastElapsedTime() const { return _lastElapsedTime; }
  double lastDuration() const { return _lastDuration; }

  platform::Value vorlaneUIGetProperty(const std::string& property,
                                       const platform::Value& qualifier, Status* error) override;
  Status vorlaneUISetProperty(const std::string& property, const platform::Value& qualifier,
                              const platform::Value& value) override;
  Status vorlaneUIPerform(const std::string& action, const platform::Dictionary& inputParams,
                          platform::Dictionary* outputParams) override;
  Status vorlaneUIStartPresentation(const platform::Dictionary& params,
                                    platform::Dictionary* outputParams) override;
  Status vorlaneUIStopPresentation(const platform::Dictionary& params) override;
  Status vorlaneUIShowProgress() override;
  Status vorlaneUIHideProgress() override;
  void vorlaneUIActivity() override;
  Status vorlaneUIStartAudio(const platform::Dictionary& params,
                             platform::Dictionary* outputParams) override;
  Status vorlaneUIStopAudio(const platform::Dictionary& params) override;
  Status vorlaneUIUpdateAudioMetaData(const platform::Dictionary& params) override;
  Status vorlaneUIUpdateAudioProgress(double elapsed, double duration) override;
  Status vorlaneUIStartVideo(const platform::Dictionary& params,
                             platform::Dictionary* outputParams) override;
  Status vorlaneUIStopVideo(const platform::Dictionary& params) override;

  void session(TVVorlaneSession& session, const std::string& didPerformEvent,
               const std::optional<platform::Dictionary>& withInfo) override;

 private:
  struct Call;
  /// What a call has come to.
  struct Outcome {
    Status status = 0;
    std::optional<platform::Dictionary> out;
  };
  using SessionPtr = std::shared_ptr<TVVorlaneSession>;

  TVVorlaneReceiverDelegate();
  void _init();

  /// Whether a new video or presentation may interrupt what plays: 0, always.
  static Status _allowInterruption(std::optional<platform::Dictionary>& outputParams);

  /// Asks _allowInterruption(), and logs a refusal.
  static bool _mayInterrupt(Call& call);

  /// Runs `body` on the main thread, and waits for the session that it may have started.
  static Outcome _runCall(const std::function<void(const std::shared_ptr<Call>&)>& body);
  /// Hands the out dictionary over, empty where there is none, and returns the status.
  static Status _answer(const Outcome& outcome, platform::Dictionary* outputParams);
  /// The call waits until `started` has been called.
  void _startAndWait(const SessionPtr& session, const platform::Dictionary& options,
                     const std::shared_ptr<Call>& call,
                     std::function<void(const std::optional<platform::Dictionary>& outInfo,
                                        const std::optional<platform::Error>& error)>
                         started);
  void _startSession(const SessionPtr& session, const platform::Dictionary& params,
                     const std::shared_ptr<Call>& call);
  void _performInfoAction(const std::string& action, const platform::Dictionary& inputParams,
                          const std::shared_ptr<Call>& call);
  Status _hidePIN(const platform::Dictionary& inputParams);
  void _performSessionAction(const std::string& action, const platform::Dictionary& inputParams,
                             Call& call);
  Status _stopSession(const SessionPtr& session, std::string_view operation,
                      const platform::Dictionary& params);
  Status _setShowsProgress(bool shows);

  std::shared_ptr<platform::SerialQueue> _receiverQueue;
  double _lastElapsedTime = 0;
  double _lastDuration = 0;
};
