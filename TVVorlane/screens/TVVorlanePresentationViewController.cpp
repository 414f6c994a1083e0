#include "TVVorlane/screens/TVVorlanePresentationViewController.h"

#include <array>
#include <vector>

#include "TVVorlane/TVVorlanePresentationSession.h"
#include "platform/ui/views/GestureRecognizer.h"

using platform::PressType;
using platform::SwipeDirection;

namespace {

const char* eventForSwipe(SwipeDirection direction) {
  switch (direction) {
    case SwipeDirection::Right:
      return "userPrevious";
    case SwipeDirection::Left:
      return "userNext";
    case SwipeDirection::Up:
      return "userUp";
    case SwipeDirection::Down:
      return "userDown";
  }
  return nullptr;
}

const char* eventForPress(PressType press) {
  switch (press) {
    case PressType::Up:
      return "userUp";
    case PressType::Down:
      return "userDown";
    case PressType::Left:
      return "userPrevious";
    case PressType::Right:
      return "userNext";
    case PressType::Select:
      return "userSelect";
    case PressType::PlayPause:
      return "userPlayPause";
    case PressType::Menu:
    case PressType::Home:
      return nullptr;
  }
  return nullptr;
}

}  // namespace

TVVorlanePresentationViewController::TVVorlanePresentationViewController(
    std::shared_ptr<TVVorlanePresentationSession> session)
    : _session(std::move(session)),
      _presentationView(_session ? _session->presentationView() : nullptr) {}

std::shared_ptr<platform::Object> TVVorlanePresentationViewController::presentationLayer() const {
  return _presentationView ? _presentationView->presentationLayer() : nullptr;
}

void TVVorlanePresentationViewController::showProgress() {
  if (_presentationView) _presentationView->setShowProgress(true);
}

void TVVorlanePresentationViewController::hideProgress() {
  if (_presentationView) _presentationView->setShowProgress(false);
}

std::shared_ptr<platform::View> TVVorlanePresentationViewController::preferredFocusedView() {
  return _presentationView;
}

void TVVorlanePresentationViewController::viewDidLoad() {
  if (!_presentationView) return;
  _presentationView->setFrame(view()->bounds());
  _presentationView->setResizesWithSuperview(true);
  view()->addSubview(_presentationView);
  _presentationView->setController(weak_from_this());
  // A view that is shown again already has its recognizers.
  if (_presentationView->gestureRecognizers().empty()) _addRecognizers(*_presentationView);
}

void TVVorlanePresentationViewController::_addRecognizers(TVVorlanePresentationView& view) {
  // The view owns the recognizers and outlives its controllers. Events go to the current controller
  // of the view.
  const auto controllerOf = [&view] {
    return std::static_pointer_cast<TVVorlanePresentationViewController>(view.controller());
  };
  for (const auto direction :
       {SwipeDirection::Left, SwipeDirection::Right, SwipeDirection::Up, SwipeDirection::Down}) {
    view.addGestureRecognizer(std::make_shared<platform::SwipeRecognizer>(
        direction, [controllerOf](const platform::SwipeRecognizer& recognizer) {
          if (const auto self = controllerOf()) self->_swiped(recognizer.direction());
        }));
  }

  constexpr std::array kPresses = {PressType::Left,     PressType::Right,  PressType::Up,
                                   PressType::Down,     PressType::Select, PressType::Menu,
                                   PressType::PlayPause};
  std::vector<std::shared_ptr<platform::TapRecognizer>> taps;
  for (const auto press : kPresses) {
    auto tap = std::make_shared<platform::TapRecognizer>(
        [controllerOf](const platform::TapRecognizer& recognizer) {
          if (const auto self = controllerOf()) self->_pressed(recognizer);
        });
    // The press types of the last recognizer are set on the one before it. The sixth recognizer
    // handles play/pause. The seventh keeps the default, which is the menu button.
    auto& target = press == PressType::PlayPause ? taps.back() : tap;
    target->setAllowedPressTypes({press});
    taps.push_back(std::move(tap));
  }
  for (auto& tap : taps) view.addGestureRecognizer(std::move(tap));
}

void TVVorlanePresentationViewController::_swiped(SwipeDirection direction) {
  if (const char* event = eventForSwipe(direction)) _session->postUserEvent(event, std::nullopt);
}

void TVVorlanePresentationViewController::_pressed(const platform::TapRecognizer& recognizer) {
  if (recognizer.allowedPressTypes().empty()) return;
  const PressType press = recognizer.allowedPressTypes().front();
  if (press == PressType::Menu) {
    _session->userStop();
  } else if (const char* event = eventForPress(press)) {
    _session->postUserEvent(event, platform::Dictionary{{"sessionID", _session->sessionID()}});
  }
}
