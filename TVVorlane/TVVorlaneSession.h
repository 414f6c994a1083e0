#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "TVVorlane/TVVorlaneSessionDelegate.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/log/LogFormat.h"

/// What a session is; the numbers are those of TVVorlaneSession::sessionType().
namespace TVVorlaneSessionType {
inline constexpr std::int64_t kStreamingAudio = 0;
inline constexpr std::int64_t kPresentation = 1;
inline constexpr std::int64_t kVideo = 2;
inline constexpr std::int64_t kAudioOnly = 3;
inline constexpr std::int64_t kPin = 4;
inline constexpr std::int64_t kDialog = 5;
}  // namespace TVVorlaneSessionType

/// Anything that a sender has going on the box.
///
/// Workflow: make it, set its delegate, startWithOptions(); it registers itself with the session
/// manager and calls the start completion, exactly once, when the manager says that it is on screen
/// (or at once when its options are not valid). stopWithOptions() ends it and deregisters it
/// immediately; userStop() tells the sender that the user ended it.
///
/// Properties and actions that a kind of session does not support answer none or false without an
/// error, which is what the operations do that it leaves as they are.
///
/// Threads: main. Lifetime: the session manager owns what is registered.
class TVVorlaneSession : public platform::Object {
 public:
  using StartCompletion = std::function<void(const std::optional<platform::Dictionary>& outInfo,
                                             const std::optional<platform::Error>& error)>;

  virtual std::uint32_t sessionID() const = 0;
  virtual std::int64_t sessionType() const = 0;

  /// Set by the manager when the session is deregistered with delay: it is no longer shown.
  bool deactivated() const { return _deactivated; }
  void setDeactivated(bool deactivated) { _deactivated = deactivated; }

  std::shared_ptr<TVVorlaneSessionDelegate> delegate() const { return _delegate.lock(); }
  void setDelegate(std::weak_ptr<TVVorlaneSessionDelegate> delegate) {
    _delegate = std::move(delegate);
  }

  virtual void startWithOptions(const platform::Dictionary& options,
                                StartCompletion completion) = 0;
  /// `options` may be none.
  virtual bool stopWithOptions(const platform::Value& options,
                               std::optional<platform::Error>* error) = 0;
  virtual platform::Value getProperty(const std::string& /*property*/,
                                      const platform::Value& /*qualifier*/,
                                      std::optional<platform::Error>* /*error*/) {
    return {};
  }
  virtual bool setProperty(const std::string& /*property*/, const platform::Value& /*qualifier*/,
                           const platform::Value& /*value*/,
                           std::optional<platform::Error>* /*error*/) {
    return false;
  }
  virtual bool performAction(const std::string& /*action*/, const platform::Value& /*options*/,
                             std::optional<platform::Dictionary>* /*outInfo*/,
                             std::optional<platform::Error>* /*error*/) {
    return false;
  }
  virtual void userStop() = 0;

  /// The default description and the identifier.
  std::string description() const override {
    return platform::formatLog("%@ ID: %u", Object::description(), sessionID());
  }

 protected:
  /// What start options hold under "sessionID"; 0 without a number.
  static std::uint32_t _sessionIDOf(const platform::Dictionary& options) {
    const auto number = options.number("sessionID");
    return number ? number->wrappedUInt32Value() : 0;
  }
  /// Reports to the delegate, where there is one.
  void _postEvent(const std::string& event,
                  const std::optional<platform::Dictionary>& info = std::nullopt) {
    if (auto delegate = _delegate.lock()) delegate->session(*this, event, info);
  }

 private:
  bool _deactivated = false;
  std::weak_ptr<TVVorlaneSessionDelegate> _delegate;
};
