#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/ui/controllers/DigitEntryViewController.h"
#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/views/VisualEffectView.h"

/// Shows a code in four boxes below a title, over a blurred background. The menu button calls the
/// dismiss handler once. The controller stays until its owner removes it. Main thread.
class TVVorlanePINViewController final : public platform::ViewController {
 public:
  std::string className() const override { return "TVVorlanePINViewController"; }

  // Applied at once if the view is loaded, otherwise when it loads.
  void setTitle(const std::string& title) override;
  const std::string& pinCode() const { return _pinCode; }
  void setPinCode(const std::string& pinCode);
  void setDismissHandler(std::function<void()> handler) { _dismissHandler = std::move(handler); }

  const std::shared_ptr<platform::VisualEffectView>& backgroundView() const {
    return _backgroundView;
  }
  const std::shared_ptr<platform::DigitEntryViewController>& digitViewController() const {
    return _digitViewController;
  }

 protected:
  void viewDidLoad() override;

 private:
  void _menuPressed();

  std::string _pinCode;
  std::function<void()> _dismissHandler;
  std::shared_ptr<platform::VisualEffectView> _backgroundView;
  std::shared_ptr<platform::DigitEntryViewController> _digitViewController;
  bool _dismissed = false;
};
