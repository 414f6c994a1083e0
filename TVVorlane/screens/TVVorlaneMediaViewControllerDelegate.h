#pragma once

#include <memory>

class TVVorlaneMediaViewController;

/// Notified when the root view controller is presented and dismissed. Main thread.
class TVVorlaneMediaViewControllerDelegate {
 public:
  virtual ~TVVorlaneMediaViewControllerDelegate() = default;
  /// The host has begun the presentation. The slots can be filled.
  virtual void mediaViewControllerDidBecomeReady(
      const std::shared_ptr<TVVorlaneMediaViewController>& controller) = 0;
  /// The presentation has ended.
  virtual void mediaViewControllerDidDismiss(
      const std::shared_ptr<TVVorlaneMediaViewController>& controller) = 0;
};
