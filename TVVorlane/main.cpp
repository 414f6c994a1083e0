#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "TVVorlane/TVVorlaneAppDelegate.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneMediaViewController.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "platform/foundation/TVSLogger.h"
#include "platform/services/Platform.h"

namespace {

std::vector<std::string_view> persistentLogComponents(platform::DeviceInfo& device) {
  if (!device.isInternalBuild()) return {TVSSystemLog};
  return {TVSSystemLog, TVVLCommunication, TVVLService, TVVLSession, TVVLSessionManager};
}

/// What the box's own door tells of the application.
platform::Dictionary applicationStatus() {
  const auto manager = TVVorlaneSessionManager::sharedInstance();
  platform::Array sessions;
  for (const auto& session : manager->activeSessions()) {
    sessions.append(platform::Dictionary{{"type", session->sessionType()},
                                         {"sessionID", session->sessionID()},
                                         {"deactivated", session->deactivated()}});
  }
  return {{"state", manager->stateMachine().currentState()}, {"sessions", sessions}};
}

/// Which kind of request a sender's key response names, whichever session it belongs to.
bool isContentKeyRequest(std::uint64_t requestID) {
  for (const auto& session : TVVorlaneSessionManager::sharedInstance()->activeSessions()) {
    const auto urlSession = std::dynamic_pointer_cast<TVVorlaneURLSession>(session);
    if (!urlSession) continue;
    const auto& requests = urlSession->resourceLoadingRequests();
    const auto found = requests.find(requestID);
    if (found != requests.end() && !std::dynamic_pointer_cast<TVSSecureKeyRequest>(found->second))
      return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int exitStatus = 0;
  const auto platform = platform::makePlatform(argc, argv, &exitStatus);
  if (!platform) return exitStatus;
  platform::Platform::setCurrent(platform.get());
  TVSLogger::initialize(std::string(kTVVorlaneBundleIdentifier),
                        persistentLogComponents(platform->device()));

  platform::Application application;
  application.delegate = std::make_shared<TVVorlaneAppDelegate>();
  application.makeRootViewController = [] {
    return std::make_shared<TVVorlaneMediaViewController>();
  };
  application.status = applicationStatus;
  application.isContentKeyRequest = isContentKeyRequest;
  exitStatus = platform->run(std::move(application));
  platform::Platform::setCurrent(nullptr);
  return exitStatus;
}
