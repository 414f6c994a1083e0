#include "platform/media/TimedMetadataList.h"

#include <algorithm>
#include <utility>

#include "platform/media/TimedMetadataItem.h"

namespace platform {

TimedMetadataList::TimedMetadataList(std::vector<TimedMetadataItem> items) {
  if (!items.empty())
    _items = std::make_shared<const std::vector<TimedMetadataItem>>(std::move(items));
}

TimedMetadataList::TimedMetadataList(std::initializer_list<TimedMetadataItem> items)
    : TimedMetadataList(std::vector<TimedMetadataItem>(items)) {}

std::size_t TimedMetadataList::size() const { return _items ? _items->size() : 0; }

const TimedMetadataItem& TimedMetadataList::operator[](std::size_t index) const {
  return (*_items)[index];
}

const TimedMetadataItem* TimedMetadataList::begin() const {
  return _items ? _items->data() : nullptr;
}

const TimedMetadataItem* TimedMetadataList::end() const {
  return _items ? _items->data() + _items->size() : nullptr;
}

bool operator==(const TimedMetadataList& a, const TimedMetadataList& b) {
  return a._items == b._items || std::ranges::equal(a, b);
}

}  // namespace platform
