#include "platform/media/TVSPlaylist.h"

#include <utility>

#include "platform/foundation/Assertion.h"

namespace {
auto iteratorAt(std::vector<std::shared_ptr<TVSMediaItem>>& items, std::size_t index) {
  return items.begin() + static_cast<std::ptrdiff_t>(index);
}
}  // namespace

TVSPlaylist::TVSPlaylist(std::vector<std::shared_ptr<TVSMediaItem>> items, std::size_t startIndex,
                         bool isCollection)
    : _items(std::move(items)), _isCollection(isCollection) {
  if (_items.empty()) return;
  TVS_ASSERT(startIndex < _items.size());
  _current = startIndex;
}

std::shared_ptr<TVSMediaItem> TVSPlaylist::currentItem() const {
  return _current ? _items[*_current] : nullptr;
}

std::shared_ptr<TVSMediaItem> TVSPlaylist::nextItem() const {
  return _current && *_current + 1 < _items.size() ? _items[*_current + 1] : nullptr;
}

void TVSPlaylist::appendMediaItem(const std::shared_ptr<TVSMediaItem>& item) {
  insertMediaItem(item, _items.size());
}

void TVSPlaylist::insertMediaItem(const std::shared_ptr<TVSMediaItem>& item, std::size_t index) {
  TVS_ASSERT(item);
  TVS_ASSERT(index <= _items.size());
  const bool becomesCurrent = !_current && index == _items.size();
  _items.insert(iteratorAt(_items, index), item);
  if (becomesCurrent) {
    _current = index;
  } else if (_current && index <= *_current) {
    ++*_current;
  }
  _observers.call({Change::Kind::Inserted, index, item, false});
  if (becomesCurrent && currentItem() == item)
    _observers.call({Change::Kind::CurrentChanged, index, item, false});
}

void TVSPlaylist::removeMediaItemAtIndex(std::size_t index) {
  TVS_ASSERT(index < _items.size());
  const auto item = _items[index];
  const bool wasCurrent = _current == index;
  _items.erase(iteratorAt(_items, index));
  if (_current && index < *_current) --*_current;
  if (wasCurrent && index == _items.size()) _current = std::nullopt;
  _observers.call({Change::Kind::Removed, index, item, wasCurrent});
}

bool TVSPlaylist::advance() {
  if (!_current || *_current + 1 >= _items.size()) return false;
  _makeCurrent(*_current + 1);
  return true;
}

bool TVSPlaylist::retreat() {
  if (!_current || *_current == 0) return false;
  _makeCurrent(*_current - 1);
  return true;
}

void TVSPlaylist::_makeCurrent(std::size_t index) {
  const auto left = currentItem();
  const auto leftIndex = *_current;
  _current = index;
  if (_windowed) {
    _items.erase(iteratorAt(_items, leftIndex));
    if (leftIndex < index) --*_current;
  }
  _observers.call({Change::Kind::CurrentChanged, *_current, currentItem(), false});
  if (_windowed) _observers.call({Change::Kind::Removed, leftIndex, left, false});
}

platform::Token TVSPlaylist::addObserver(std::function<void(const Change&)> observer) {
  return _observers.add(std::move(observer));
}
