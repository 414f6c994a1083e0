#include "sim/Screen.h"

#include <initializer_list>
#include <utility>

#include "platform/foundation/Assertion.h"

namespace sim {

namespace {

constexpr std::int64_t kNoDisplay = -6700;

/// The signature of a PNG file. Nothing here decodes the rest.
std::shared_ptr<const platform::Bytes> pngSignature() {
  platform::Bytes bytes;
  for (const int byte : {0x89, 'P' + 0, 'N' + 0, 'G' + 0, 0x0d, 0x0a, 0x1a, 0x0a}) {
    bytes.push_back(static_cast<std::byte>(byte));
  }
  return std::make_shared<const platform::Bytes>(std::move(bytes));
}

}  // namespace

Screen::Screen(platform::MainQueue& mainQueue) : _mainQueue(mainQueue), _picture(pngSignature()) {}

void Screen::setOpening(Opening opening, platform::Duration delay) {
  _opening = opening;
  _delay = delay;
}

void Screen::open(std::function<void(std::optional<platform::Error>)> completion) {
  TVS_ASSERT(completion != nullptr);
  TVS_ASSERT_MESSAGE(!_completion && !_open, "the screen is open or being opened");
  _completion = std::move(completion);
  if (_opening == Opening::NeverAnswers) return;
  const bool refuses = _opening == Opening::Refuses;
  _answering = _mainQueue.after(_delay, [this, refuses] {
    if (refuses) {
      _answer(platform::Error::status(kNoDisplay));
      return;
    }
    _open = true;
    ++_timesOpened;
    _firstSceneSinceOpened = _scenes.size();
    _answer(std::nullopt);
  });
}

void Screen::_answer(std::optional<platform::Error> error) {
  if (const auto completion = std::exchange(_completion, nullptr)) completion(std::move(error));
}

void Screen::close() {
  if (_completion) {
    // Never calls the completion synchronously.
    _answering = _mainQueue.after({}, [this] { _answer(platform::Error::status(kNoDisplay)); });
    return;
  }
  if (_open) _closed();
}

void Screen::_closed() {
  _open = false;
  ++_timesClosed;
}

void Screen::closeUnexpectedly() {
  if (!_open) return;
  _closed();
  _closing = _mainQueue.after({}, [this] {
    if (const auto handler = _closedHandler) handler();
  });
}

void Screen::setScene(std::shared_ptr<const platform::Scene> scene) {
  _scenes.push_back(std::move(scene));
}

std::shared_ptr<const platform::Scene> Screen::scene() const {
  if (!_open || _scenes.size() == _firstSceneSinceOpened) return nullptr;
  return _scenes.back();
}

void Screen::setInputHandler(std::function<void(const platform::InputEvent&)> handler) {
  _inputHandler = std::move(handler);
}

void Screen::setClosedHandler(std::function<void()> handler) {
  _closedHandler = std::move(handler);
}

bool Screen::send(const platform::InputEvent& event) {
  const auto handler = _inputHandler;
  if (!_open || !handler) return false;
  handler(event);
  return true;
}

void Screen::capture(std::function<void(std::shared_ptr<const platform::Bytes>)> completion) {
  _mainQueue.async([picture = _open ? _picture : nullptr, completion = std::move(completion)] {
    completion(picture);
  });
}

}  // namespace sim
