#include "TVVorlane/TVVorlanePresentationSession.h"

#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/TVVorlaneUtilities.h"
#include "TVVorlane/screens/TVVorlanePresentationView.h"
#include "platform/ui/scene/Geometry.h"

void TVVorlanePresentationSession::startWithOptions(const platform::Dictionary& options,
                                                    StartCompletion completion) {
  std::optional<platform::Error> invalid;
  if (!TVVorlaneUtilities::validateParameters(options, &invalid)) {
    completion(std::nullopt, invalid);
    return;
  }
  // "hasAudio" is ignored: the receiver service plays the audio.
  _sessionID = _sessionIDOf(options);
  _presentationView = std::make_shared<TVVorlanePresentationView>(platform::kScreenBounds);

  std::optional<platform::Dictionary> outInfo;
  if (const auto layer = _presentationView->presentationLayer()) {
    outInfo = platform::Dictionary{{"presentationLayer", layer}};
  }
  // The layer is returned even if the presentation has failed.
  TVVorlaneSessionManager::sharedInstance()->registerSession(
      shared_from_this(), [outInfo, completion = std::move(completion)](const auto& error) {
        completion(outInfo, error);
      });
}

bool TVVorlanePresentationSession::stopWithOptions(const platform::Value& options,
                                                   std::optional<platform::Error>* error) {
  if (!TVVorlaneUtilities::validateParameters(options, error)) return false;
  const auto self = shared_from_this();
  // The view may still be fading out after the session has released it.
  if (_presentationView) _presentationView->closeLayer();
  _presentationView = nullptr;
  TVVorlaneSessionManager::sharedInstance()->deregisterSession(self, true);
  return true;
}

bool TVVorlanePresentationSession::performAction(const std::string& action,
                                                 const platform::Value& options,
                                                 std::optional<platform::Dictionary>*,
                                                 std::optional<platform::Error>* error) {
  if (!TVVorlaneUtilities::validateParameters(options, error)) return false;
  if (!_presentationView) return true;
  if (action == TVVorlanePresentationShowProgressAction) _presentationView->setShowProgress(true);
  if (action == TVVorlanePresentationHideProgressAction) _presentationView->setShowProgress(false);
  return true;
}

void TVVorlanePresentationSession::userStop() {
  const auto self = shared_from_this();
  _postEvent("userStop", platform::Dictionary{{"sessionID", _sessionID}, {"userExit", true}});
  TVVorlaneSessionManager::sharedInstance()->deregisterSession(self, false);
}
