#include "platform/ui/player/OptionPanelController.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/Value.h"
#include "platform/services/Platform.h"
#include "platform/ui/views/OptionPanelView.h"

namespace platform {

namespace {

constexpr Duration kFade = std::chrono::milliseconds(300);

/// The direction of an arrow key or a swipe.
std::optional<SwipeDirection> directionOf(const InputEvent& event) {
  if (const auto* direction = std::get_if<SwipeDirection>(&event.what)) return *direction;
  switch (std::get<PressType>(event.what)) {
    case PressType::Left:
      return SwipeDirection::Left;
    case PressType::Right:
      return SwipeDirection::Right;
    case PressType::Up:
      return SwipeDirection::Up;
    case PressType::Down:
      return SwipeDirection::Down;
    default:
      return std::nullopt;
  }
}

std::size_t movedIndex(std::size_t index, int step, std::size_t count) {
  if (step < 0) return index > 0 ? index - 1 : 0;
  return std::min(index + 1, count - 1);
}

}  // namespace

OptionPanelController::OptionPanelController(std::shared_ptr<TVSPlayer> player,
                                             std::function<void()> didClose)
    : _player(std::move(player)), _didClose(std::move(didClose)) {}

OptionPanelController::~OptionPanelController() = default;

void OptionPanelController::setTexts(const PlayerTexts& texts) {
  _texts = texts;
  update();
}

std::shared_ptr<View> OptionPanelController::loadView() {
  _panel = std::make_shared<OptionPanelView>();
  _panel->setAlpha(0);
  _panel->setHidden(true);
  return _panel;
}

bool OptionPanelController::open() {
  if (_open) return true;
  view();
  _lists.clear();
  _focusedList = 0;
  _focusedChoices.clear();
  _open = true;
  update();
  if (!_open) return false;
  for (const std::string_view property : {"selectedAudioOption", "selectedSubtitleOption"})
    _observers.push_back(_player->addPropertyObserver(property, [this] { update(); }));
  _observers.push_back(_player->addFactsObserver([this] { update(); }));
  _panel->setHidden(false);
  _panel->animateAlpha(1, kFade);
  setNeedsFocusUpdate();
  return true;
}

void OptionPanelController::close() {
  if (!_open) return;
  _open = false;
  _observers.clear();
  // The element is kept, because it is visible while the panel fades out.
  _panel->animateAlpha(0, kFade);
  setNeedsFocusUpdate();
  _didClose();
}

void OptionPanelController::update() {
  if (!_open) return;
  const PlayerItem* const item = _player->currentPlayerItem();
  auto lists = item ? mediaOptionLists(*item, _texts, Platform::current().device())
                    : std::vector<MediaOptionList>();
  if (lists.empty()) {
    if (_lists.empty()) {
      _open = false;
    } else {
      close();
    }
    return;
  }
  // The initial focus of a list is its selected option.
  for (std::size_t i = _focusedChoices.size(); i < lists.size(); ++i)
    _focusedChoices.push_back(lists[i].selected.value_or(0));
  _focusedChoices.resize(lists.size());
  for (std::size_t i = 0; i < lists.size(); ++i)
    _focusedChoices[i] = std::min(_focusedChoices[i], lists[i].choices.size() - 1);
  _focusedList = std::min(_focusedList, lists.size() - 1);
  _lists = std::move(lists);
  _updatePanel();
}

void OptionPanelController::_updatePanel() {
  OptionPanelElement element;
  for (std::size_t i = 0; i < _lists.size(); ++i) {
    OptionListElement list;
    list.title = _lists[i].title;
    for (const auto& choice : _lists[i].choices) list.options.push_back(choice.name);
    list.selected = _lists[i].selected;
    if (i == _focusedList) list.focused = _focusedChoices[i];
    element.lists.push_back(std::move(list));
  }
  _panel->setElement(std::move(element));
}

bool OptionPanelController::handleInput(const InputEvent& event) {
  if (!_open) return false;
  if (const auto arrow = directionOf(event)) {
    switch (*arrow) {
      case SwipeDirection::Left:
        _moveBetweenLists(-1);
        break;
      case SwipeDirection::Right:
        _moveBetweenLists(1);
        break;
      case SwipeDirection::Up:
        _moveInList(-1);
        break;
      case SwipeDirection::Down:
        _moveInList(1);
        break;
    }
    return true;
  }
  const auto button = std::get<PressType>(event.what);
  if (button == PressType::Select) {
    if (!event.repeated) _choose();
    return true;
  }
  if (button == PressType::Menu) {
    if (!event.repeated) close();
    return true;
  }
  return false;
}

void OptionPanelController::_moveBetweenLists(int step) {
  _focusedList = movedIndex(_focusedList, step, _lists.size());
  _updatePanel();
}

void OptionPanelController::_moveInList(int step) {
  auto& focused = _focusedChoices[_focusedList];
  focused = movedIndex(focused, step, _lists[_focusedList].choices.size());
  _updatePanel();
}

void OptionPanelController::_choose() {
  const auto& list = _lists[_focusedList];
  // A copy, because the call may update `_lists`.
  const Dictionary chosen = list.choices[_focusedChoices[_focusedList]].propertyList;
  if (PlayerItem* const item = _player->currentPlayerItem()) item->selectPropertyList(chosen);
}

}  // namespace platform
