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

/// Values of TVVorlaneSession::sessionType().
namespace TVVorlaneSessionType {
inline constexpr std::int64_t kStreamingAudio = 0;
inline constexpr std::int64_t kPresentation = 1;
inline constexpr std::int64_t kVideo = 2;
inline constexpr std::int64_t kAudioOnly = 3;
inline constexpr std::int64_t kPin = 4;
inline constexpr std::int64_t kDialog = 5;
}  // namespace TVVorlaneSessionType

/// Base class of everything that a sender starts on the box: video, audio, mirroring, a PIN or a
/// dialog.
///
/// Usage: create the session, set its delegate, call startWithOptions(). The session registers
/// itself with the session manager. The start completion runs exactly once: when the session is on
/// screen, or at once if the options are invalid. stopWithOptions() ends the session and
/// deregisters it immediately. userStop() reports to the sender that the user has ended the
/// session.
///
/// The default implementations of properties and actions return none or false, without an error.
///
/// Threads: main. Lifetime: the session manager owns registered sessions.
class TVVorlaneSession : public platform::Object {
 public:
  using StartCompletion = std::function<void(const std::optional<platform::Dictionary>& outInfo,
                                             const std::optional<platform::Error>& error)>;

  virtual std::uint32_t sessionID() const = 0;
  virtual std::int64_t sessionType() const = 0;

  /// The manager sets this on a delayed deregistration. A deactivated session is not shown.
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

  /// Appends the session ID to the default description.
  std::string description() const override {
    return platform::formatLog("%@ ID: %u", Object::description(), sessionID());
  }

 protected:
  /// Returns the number under "sessionID", or 0 if there is none.
  static std::uint32_t _sessionIDOf(const platform::Dictionary& options) {
    const auto number = options.number("sessionID");
    return number ? number->wrappedUInt32Value() : 0;
  }
  /// Posts an event to the delegate, if one is set.
  void _postEvent(const std::string& event,
                  const std::optional<platform::Dictionary>& info = std::nullopt) {
    if (auto delegate = _delegate.lock()) delegate->session(*this, event, info);
  }

 private:
  bool _deactivated = false;
  std::weak_ptr<TVVorlaneSessionDelegate> _delegate;
};
