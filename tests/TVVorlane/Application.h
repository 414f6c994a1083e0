#pragma once

#include <memory>
#include <utility>

#include "TVVorlane/screens/TVVorlaneMediaViewController.h"
#include "platform/services/Platform.h"

/// The application, configured like in main().
inline platform::Application applicationOf(
    std::shared_ptr<platform::ApplicationDelegate> delegate) {
  platform::Application application;
  application.delegate = std::move(delegate);
  application.makeRootViewController = [] {
    return std::make_shared<TVVorlaneMediaViewController>();
  };
  return application;
}
