#include "platform/media/TVSMediaItem.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/foundation/Value.h"

bool TVSMediaItem::hasTrait(std::string_view trait) const {
  return std::find(_traits.begin(), _traits.end(), trait) != _traits.end();
}

platform::Value TVSMediaItem::metadata(std::string_view key) const { return _metadata.get(key); }

std::optional<double> TVSMediaItem::finiteMetadata(std::string_view key) const {
  const auto number = _metadata.number(key);
  if (!number || !std::isfinite(number->doubleValue())) return std::nullopt;
  return number->doubleValue();
}

void TVSMediaItem::setMetadata(std::string_view key, platform::Value value) {
  if (_metadata.get(key) == value) return;
  _metadata.set(key, std::move(value));
  if (std::find(_changedKeys.begin(), _changedKeys.end(), key) == _changedKeys.end())
    _changedKeys.emplace_back(key);
  if (_transactionDepth == 0) _notify();
}

bool TVSMediaItem::metadataEquals(std::string_view key, std::string_view text) const {
  const auto value = _metadata.string(key);
  return value && *value == text;
}

void TVSMediaItem::performMetadataTransaction(const std::function<void()>& body) {
  ++_transactionDepth;
  try {
    body();
  } catch (...) {
    // The changes remain. Observers are notified of them with the next change.
    --_transactionDepth;
    throw;
  }
  if (--_transactionDepth == 0) _notify();
}

platform::Token TVSMediaItem::addMetadataObserver(
    std::function<void(const std::vector<std::string>& keys)> observer) {
  return _observers.add(std::move(observer));
}

bool TVSMediaItem::loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>&) {
  return false;
}

void TVSMediaItem::loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>&) {}

void TVSMediaItem::_notify() {
  const auto keys = std::exchange(_changedKeys, {});
  if (!keys.empty()) _observers.call(keys);
}
