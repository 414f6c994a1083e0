#include "platform/media/TVSStoreMediaItem.h"

#include <utility>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/Value.h"

platform::Value TVSStoreDataItem::property(std::string_view key) const {
  return _committed.get(key);
}

void TVSStoreDataItem::setProperty(std::string_view key, platform::Value value) {
  TVS_ASSERT(_inTransaction);
  _pending.set(key, std::move(value));
}

void TVSStoreDataItem::beginTransaction() {
  TVS_ASSERT(!_inTransaction);
  _inTransaction = true;
  _pending = _committed;
}

void TVSStoreDataItem::commitTransaction() {
  TVS_ASSERT(_inTransaction);
  _inTransaction = false;
  _committed = std::exchange(_pending, {});
}

TVSStoreMediaItem::TVSStoreMediaItem(std::shared_ptr<TVSStoreDataItem> dataItem)
    : _dataItem(std::move(dataItem)) {
  TVS_ASSERT(_dataItem);
}

std::string TVSStoreMediaItem::url() const {
  const auto value = _dataItem->property(platform::kStorePlaybackURL);
  const auto* text = value.asString();
  return text ? *text : std::string();
}

bool TVSStoreMediaItem::hasTrait(std::string_view trait) const {
  return trait == platform::kMediaItemTraitUsesDiskCache ||
         trait == platform::kMediaItemTraitCachesInBackground || TVSMediaItem::hasTrait(trait);
}

void TVSStoreMediaItem::mergePropertiesFromDataItem(const std::shared_ptr<TVSStoreDataItem>&,
                                                    const std::shared_ptr<TVSStoreDataItem>&) {}
