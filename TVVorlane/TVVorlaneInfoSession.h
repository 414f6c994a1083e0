#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TVVorlane/TVVorlaneSession.h"
#include "platform/foundation/Token.h"

/// Key of the start options. Its value is one of the commands below.
inline constexpr std::string_view TVVorlaneInfoSessionCommand = "TVVorlaneInfoSessionCommand";

inline constexpr std::string_view kTVVorlaneShowPINCommand = "showPIN";
inline constexpr std::string_view kTVVorlaneIncompatibleSenderCommand = "incompatibleSender";
inline constexpr std::string_view kTVVorlaneHidePINCommand = "hidePIN";

/// Shows a pairing PIN or a security dialog for at most 30 s.
///
/// The session ID comes from a process-wide counter. The start completion reports success if the
/// options are valid, even if the presentation fails. The session posts no events. Main thread.
class TVVorlaneInfoSession final : public TVVorlaneSession,
                                   public std::enable_shared_from_this<TVVorlaneInfoSession> {
 public:
  std::string className() const override { return "TVVorlaneInfoSession"; }

  std::uint32_t sessionID() const override { return _sessionID; }
  /// kPin for "showPIN", kDialog for any other command.
  std::int64_t sessionType() const override;
  const std::optional<std::string>& commandKey() const { return _commandKey; }
  const std::optional<std::string>& titleString() const { return _titleString; }
  /// The PIN itself if the session shows a PIN.
  const std::optional<std::string>& messageString() const { return _messageString; }

  void startWithOptions(const platform::Dictionary& options, StartCompletion completion) override;
  bool stopWithOptions(const platform::Value& options,
                       std::optional<platform::Error>* error) override;
  void userStop() override;

 private:
  void _timedOut();

  std::uint32_t _sessionID = 0;
  std::optional<std::string> _commandKey;
  std::optional<std::string> _titleString;
  std::optional<std::string> _messageString;
  platform::Token _timeoutTimer;
};
