#include "TVVorlane/screens/TVVorlanePINViewController.h"

#include "platform/ui/views/GestureRecognizer.h"

namespace {
constexpr int kBlurStyle = 4005;
constexpr int kDigits = 4;
}  // namespace

void TVVorlanePINViewController::setTitle(const std::string& title) {
  ViewController::setTitle(title);
  if (isViewLoaded()) _digitViewController->titleLabel()->setText(title);
}

void TVVorlanePINViewController::setPinCode(const std::string& pinCode) {
  _pinCode = pinCode;
  if (isViewLoaded()) _digitViewController->digitGroupView()->setText(pinCode);
}

void TVVorlanePINViewController::viewDidLoad() {
  const auto bounds = view()->bounds();
  _backgroundView = std::make_shared<platform::VisualEffectView>(bounds, kBlurStyle);
  _backgroundView->setResizesWithSuperview(true);
  view()->insertSubview(_backgroundView, 0);

  _digitViewController = std::make_shared<platform::DigitEntryViewController>(kDigits);
  _digitViewController->setEditable(false);
  _digitViewController->titleLabel()->setTextColor(platform::kWhite);
  _digitViewController->titleLabel()->setText(title());
  _digitViewController->digitGroupView()->setText(_pinCode);
  addChild(_digitViewController);
  _digitViewController->view()->setFrame(bounds);
  _digitViewController->view()->setResizesWithSuperview(true);
  view()->addSubview(_digitViewController->view());
  _digitViewController->didMoveToParent(this);

  const auto menu =
      std::make_shared<platform::TapRecognizer>([this](const auto&) { _menuPressed(); });
  menu->setAllowedPressTypes({platform::PressType::Menu});
  view()->addGestureRecognizer(menu);
}

void TVVorlanePINViewController::_menuPressed() {
  if (_dismissed || !_dismissHandler) return;
  _dismissed = true;
  // The handler may release this controller or replace _dismissHandler. Keep both alive until it
  // returns.
  const auto self = shared_from_this();
  const auto handler = _dismissHandler;
  handler();
}
