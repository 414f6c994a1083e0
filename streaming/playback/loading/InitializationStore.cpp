#include "streaming/playback/loading/InitializationStore.h"

#include <utility>

#include "streaming/playback/PlaybackErrors.h"
#include "streaming/playback/loading/SegmentDecryptor.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxInitializations = 32;
constexpr std::size_t kMaxInitializationBytes = std::size_t{4} * 1024 * 1024;

std::shared_ptr<const SegmentBytes> completeBytes(std::string_view bytes) {
  auto result = std::make_shared<SegmentBytes>();
  result->append(bytes);
  result->complete();
  return result;
}

}  // namespace

std::shared_ptr<void> InitializationStore::get(const Initialization& initialization,
                                               std::function<void(const Result&)> done) {
  const std::optional<SegmentKey> key =
      initialization.key ? std::optional(*initialization.key) : std::nullopt;
  for (auto entry = _entries.begin(); entry != _entries.end(); ++entry) {
    if (entry->resource != initialization.resource || entry->key != key) continue;
    if (entry->bytes) {
      const Result result = entry->bytes;
      _entries.splice(_entries.begin(), _entries, entry);
      done(result);
      return nullptr;
    }
    auto handle = std::make_shared<std::function<void(const Result&)>>(std::move(done));
    entry->waiting.emplace_back(handle);
    return handle;
  }
  while (_entries.size() >= kMaxInitializations && _entries.back().bytes) _entries.pop_back();
  Entry& entry = _entries.emplace_front();
  entry.resource = initialization.resource;
  entry.key = key;
  auto handle = std::make_shared<std::function<void(const Result&)>>(std::move(done));
  entry.waiting.emplace_back(handle);
  _begin(_entries.begin());
  return handle;
}

void InitializationStore::_begin(EntryIterator entry) {
  if (!entry->key || entry->key->method != SegmentKey::Method::AES128) return _fetch(entry);
  auto request = _keys.get(*entry->key, [this, entry](const KeyResult& result) {
    if (const auto* error = std::get_if<platform::Error>(&result)) return _end(entry, *error);
    entry->contentKey = std::get<ContentKey>(result);
    _fetch(entry);
  });
  // Null: the handler was called synchronously, and the entry may be erased.
  if (request) entry->keyRequest = std::move(request);
}

void InitializationStore::_fetch(EntryIterator entry) {
  if (entry->urlIndex >= entry->resource.urls.size()) {
    return _end(entry, networkError(platform::URLErrorCode::BadURL,
                                    "The initialization section has no URL."));
  }
  entry->fetch = std::make_unique<BodyFetch>(
      _source,
      TransferRequest{entry->resource.urls[entry->urlIndex], TransferKind::Initialization,
                      entry->resource.span, false},
      kMaxInitializationBytes,
      [this, entry](FetchResult result) { _fetched(entry, std::move(result)); });
}

void InitializationStore::_fetched(EntryIterator entry, FetchResult result) {
  if (auto* error = std::get_if<platform::Error>(&result)) {
    if (++entry->urlIndex < entry->resource.urls.size()) {
      const auto ended = std::move(entry->fetch);
      return _fetch(entry);
    }
    return _end(entry, *error);
  }
  std::string bytes = std::move(std::get<FetchedBody>(result).bytes);
  if (entry->contentKey) {
    SegmentDecryptor decryptor(*entry->contentKey,
                               entry->key->initialVector.value_or(std::array<std::byte, 16>{}));
    std::string clear = decryptor.pass(bytes);
    const auto rest = decryptor.finish();
    if (!rest) {
      return _end(entry, mediaError(platform::MediaErrorCode::ContentNotAuthorized,
                                    "The key does not match the initialization section."));
    }
    bytes = clear + *rest;
  }
  _end(entry, completeBytes(bytes));
}

void InitializationStore::_end(EntryIterator entry, const Result& result) {
  const auto fetch = std::move(entry->fetch);
  const auto waiting = std::exchange(entry->waiting, {});
  if (const auto* bytes = std::get_if<std::shared_ptr<const SegmentBytes>>(&result))
    entry->bytes = *bytes;
  else
    _entries.erase(entry);
  for (const auto& each : waiting)
    if (const auto done = each.lock()) (*done)(result);
}

}  // namespace streaming
