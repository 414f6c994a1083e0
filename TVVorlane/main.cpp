#include <memory>
#include <string_view>
#include <vector>

#include "TVVorlane/TVVorlaneAppDelegate.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "TVVorlane/screens/TVVorlaneMediaViewController.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/services/Platform.h"

namespace {

std::vector<std::string_view> persistentLogComponents(platform::DeviceInfo& device) {
  if (!device.isInternalBuild()) return {TVSSystemLog};
  return {TVSSystemLog, TVVLCommunication, TVVLService, TVVLSession, TVVLSessionManager};
}

/// The status of the application that `vorlanectl status` prints.
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

bool isFatalAction(const std::string& action, const platform::Dictionary& params) {
  const auto session =
      TVVorlaneSessionManager::sharedInstance()->urlSessionWithID(params.get("sessionID"));
  return session && session->isFatalAction(action, params);
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
  application.isFatalAction = isFatalAction;
  exitStatus = platform->run(std::move(application));
  platform::Platform::setCurrent(nullptr);
  return exitStatus;
}
