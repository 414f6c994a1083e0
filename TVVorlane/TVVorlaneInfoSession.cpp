#include "TVVorlane/TVVorlaneInfoSession.h"

#include <chrono>

#include "TVVorlane/TVVorlaneLocalizedStrings.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/services/Platform.h"

using namespace std::chrono_literals;

namespace {

constexpr auto kTimeout = 30s;

/// Wraps modulo 2^32. The initial value avoids the session IDs of the receiver service.
struct IdentifierCounter {
  std::uint32_t next = 0x7FFFFFFF;
};

}  // namespace

std::int64_t TVVorlaneInfoSession::sessionType() const {
  return _commandKey == kTVVorlaneShowPINCommand ? TVVorlaneSessionType::kPin
                                                 : TVVorlaneSessionType::kDialog;
}

void TVVorlaneInfoSession::startWithOptions(const platform::Dictionary& options,
                                            StartCompletion completion) {
  std::optional<platform::Error> invalid;
  if (!TVVorlaneUtilities::validateParameters(options, &invalid)) {
    completion(std::nullopt, invalid);
    return;
  }
  _sessionID = platform::Platform::current().sharedInstance<IdentifierCounter>()->next++;
  _commandKey = options.string(TVVorlaneInfoSessionCommand);
  if (_commandKey == kTVVorlaneShowPINCommand) {
    _titleString = TVVorlaneLocalizedString("TVVorlanePINTitle");
    // The validation does not check the type of "pin", so a number is valid, too.
    const auto number = options.number("pin");
    _messageString = number ? number->description() : options.string("pin");
  } else if (_commandKey == kTVVorlaneIncompatibleSenderCommand) {
    _titleString = TVVorlaneLocalizedString("VorlaneSecurityVerifyFailureDialogLabel");
    _messageString = TVVorlaneLocalizedString("VorlaneSecurityVerifyFailureDialogText");
  }
  _timeoutTimer =
      platform::Platform::current().mainQueue().after(kTimeout, [this] { _timedOut(); });
  // The start succeeds even if the presentation fails.
  TVVorlaneSessionManager::sharedInstance()->registerSession(
      shared_from_this(), [completion = std::move(completion)](const auto&) {
        completion(std::nullopt, std::nullopt);
      });
}

bool TVVorlaneInfoSession::stopWithOptions(const platform::Value& options,
                                           std::optional<platform::Error>* error) {
  if (!TVVorlaneUtilities::validateParameters(options, error)) return false;
  const auto self = shared_from_this();
  _timeoutTimer.reset();
  TVVorlaneSessionManager::sharedInstance()->deregisterSession(self, true);
  return true;
}

void TVVorlaneInfoSession::userStop() {
  TVSLogNotice(TVVLSession, "User dismissed info dialog session %@", shared_from_this());
  stopWithOptions(platform::Dictionary(), nullptr);
}

void TVVorlaneInfoSession::_timedOut() {
  TVSLogNotice(TVVLSession, "Info dialog session %@ timed out", shared_from_this());
  stopWithOptions(platform::Dictionary(), nullptr);
}
