#pragma once

#include <memory>

class TVVorlaneMediaViewController;

/// Hears when the root view controller comes and goes. Main thread.
class TVVorlaneMediaViewControllerDelegate {
 public:
  virtual ~TVVorlaneMediaViewControllerDelegate() = default;
  /// The host has begun the presentation; sessions may be shown.
  virtual void mediaViewControllerDidBecomeReady(
      const std::shared_ptr<TVVorlaneMediaViewController>& controller) = 0;
  /// The presentation has ended and the controller is gone.
  virtual void mediaViewControllerDidDismiss(
      const std::shared_ptr<TVVorlaneMediaViewController>& controller) = 0;
};
