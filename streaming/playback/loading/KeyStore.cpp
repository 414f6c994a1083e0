#include "streaming/playback/loading/KeyStore.h"

#include <chrono>
#include <utility>

#include "streaming/playback/PlaybackErrors.h"

namespace streaming {
namespace {

constexpr std::size_t kKeySize = 16;
constexpr std::size_t kMaxKeyBytes = std::size_t{64} * 1024;
constexpr std::size_t kMaxKeys = 256;
constexpr auto kFailureLifetime = std::chrono::seconds(10);

KeyResult keyResultOf(const FetchResult& result) {
  if (const auto* error = std::get_if<platform::Error>(&result)) {
    return *error;
  }
  const auto& body = std::get<FetchedBody>(result).bytes;
  if (body.size() != kKeySize)
    return mediaError(platform::MediaErrorCode::ContentNotAuthorized, "The response is not a key.");
  return std::make_shared<const std::string>(body);
}

}  // namespace

std::shared_ptr<void> KeyStore::get(const SegmentKey& key,
                                    std::function<void(const KeyResult&)> done) {
  auto found = _entries.find(key.url);
  if (found != _entries.end() && found->second.result) {
    const bool isError = std::holds_alternative<platform::Error>(*found->second.result);
    if (!isError || _source.now() - found->second.endedAt < kFailureLifetime) {
      const KeyResult result = *found->second.result;
      done(result);
      return nullptr;
    }
    _entries.erase(found);
    found = _entries.end();
  }
  auto handle = std::make_shared<std::function<void(const KeyResult&)>>(std::move(done));
  if (found == _entries.end()) {
    if (_entries.size() >= kMaxKeys)
      std::erase_if(_entries, [](const auto& each) { return each.second.result.has_value(); });
    found = _entries.try_emplace(key.url).first;
    found->second.fetch = std::make_unique<BodyFetch>(
        _source, TransferRequest{key.url, TransferKind::Key, {}, false}, kMaxKeyBytes,
        [this, url = key.url](const FetchResult& result) { _end(url, result); });
  }
  found->second.waiting.emplace_back(handle);
  return handle;
}

void KeyStore::_end(const std::string& url, const FetchResult& result) {
  Entry& entry = _entries[url];
  const KeyResult key = keyResultOf(result);
  entry.result = key;
  entry.endedAt = _source.now();
  const auto fetch = std::move(entry.fetch);
  const auto waiting = std::exchange(entry.waiting, {});
  for (const auto& each : waiting)
    if (const auto done = each.lock()) (*done)(key);
}

}  // namespace streaming
