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

/// The interface between the receiver service and the application.
///
/// Each call is logged, runs on the main thread and returns a status. Start calls and the PIN
/// actions block the receiver queue until the start completion of the session has run. Session
/// events are posted asynchronously on the receiver queue. An event that is posted during a call is
/// therefore delivered after that call, in order.
///
/// Threads: the fourteen calls run on the receiver queue and assert that this is not the main
/// thread. session() runs on the main thread, also asserted. Lifetime: one per process, never
/// destroyed while the process runs.
class TVVorlaneReceiverDelegate final
    : public platform::Object,
      public VorlaneReceiverUIDelegate,
      public TVVorlaneSessionDelegate,
      public std::enable_shared_from_this<TVVorlaneReceiverDelegate> {
 public:
  /// Creates the delegate and registers it with the receiver service. Main thread.
  static std::shared_ptr<TVVorlaneReceiverDelegate> make();
  std::string className() const override { return "TVVorlaneReceiverDelegate"; }

  const std::shared_ptr<platform::SerialQueue>& receiverQueue() const { return _receiverQueue; }
  /// Progress of the audio stream in whole seconds, as last forwarded. Receiver queue.
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
  /// The result of a call.
  struct CallResult {
    Status status = 0;
    std::optional<platform::Dictionary> out;
  };
  using SessionPtr = std::shared_ptr<TVVorlaneSession>;

  TVVorlaneReceiverDelegate();
  void _init();

  /// Always returns 0: a new video or presentation may interrupt the current one.
  static Status _allowInterruption(std::optional<platform::Dictionary>& outputParams);

  /// Returns whether _allowInterruption() permits the call. Logs a refusal.
  static bool _isInterruptionAllowed(Call& call);

  /// Runs `body` on the main thread. Blocks until the session that it started, if any, has
  /// completed its start.
  static CallResult _runCall(const std::function<void(const std::shared_ptr<Call>&)>& body);
  /// Stores the output dictionary, or an empty one, in `outputParams`. Returns the status.
  static Status _answer(const CallResult& outcome, platform::Dictionary* outputParams);
  /// Starts `session`. `call` completes after `started` has returned.
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
