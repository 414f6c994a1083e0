#include "platform/ui/player/OptionPanelController.h"

#include <algorithm>
#include <utility>

#include "platform/services/Platform.h"
#include "platform/ui/views/OptionPanelView.h"

namespace platform {

namespace {

constexpr Duration kFade = std::chrono::milliseconds(300);

/// The arrow that a press or a swipe stands for.
std::optional<SwipeDirection> arrowOf(const InputEvent& event) {
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

std::size_t moved(std::size_t index, int step, std::size_t count) {
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
  // The lists stay to be seen while they fade.
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
  // The focus stays where it is, or begins at what is selected.
  for (std::size_t i = _focusedChoices.size(); i < lists.size(); ++i)
    _focusedChoices.push_back(lists[i].selected.value_or(0));
  _focusedChoices.resize(lists.size());
  for (std::size_t i = 0; i < lists.size(); ++i)
    _focusedChoices[i] = std::min(_focusedChoices[i], lists[i].choices.size() - 1);
  _focusedList = std::min(_focusedList, lists.size() - 1);
  _lists = std::move(lists);
  _show();
}

void OptionPanelController::_show() {
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
  if (const auto arrow = arrowOf(event)) {
    switch (*arrow) {
      case SwipeDirection::Left:
        _moveAcross(-1);
        break;
      case SwipeDirection::Right:
        _moveAcross(1);
        break;
      case SwipeDirection::Up:
        _moveAlong(-1);
        break;
      case SwipeDirection::Down:
        _moveAlong(1);
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

void OptionPanelController::_moveAcross(int step) {
  _focusedList = moved(_focusedList, step, _lists.size());
  _show();
}

void OptionPanelController::_moveAlong(int step) {
  auto& focused = _focusedChoices[_focusedList];
  focused = moved(focused, step, _lists[_focusedList].choices.size());
  _show();
}

void OptionPanelController::_choose() {
  const auto& list = _lists[_focusedList];
  // A copy: the player may answer with a reload.
  const Dictionary chosen = list.choices[_focusedChoices[_focusedList]].propertyList;
  if (PlayerItem* const item = _player->currentPlayerItem()) item->selectPropertyList(chosen);
}

}  // namespace platform
