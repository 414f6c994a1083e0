#include "streaming/playback/loading/InitializationStore.h"

#include <utility>

#include "streaming/playback/PlaybackErrors.h"
#include "streaming/playback/loading/SegmentDecryptor.h"

namespace streaming {
namespace {

constexpr std::size_t kMostInitializations = 32;
constexpr std::size_t kMostInitializationBytes = std::size_t{4} * 1024 * 1024;

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
  for (auto place = _entries.begin(); place != _entries.end(); ++place) {
    if (place->resource != initialization.resource || place->key != key) continue;
    if (place->bytes) {
      const Result result = place->bytes;
      _entries.splice(_entries.begin(), _entries, place);
      done(result);
      return nullptr;
    }
    auto handle = std::make_shared<std::function<void(const Result&)>>(std::move(done));
    place->waiting.emplace_back(handle);
    return handle;
  }
  while (_entries.size() >= kMostInitializations && _entries.back().bytes) _entries.pop_back();
  Entry& entry = _entries.emplace_front();
  entry.resource = initialization.resource;
  entry.key = key;
  auto handle = std::make_shared<std::function<void(const Result&)>>(std::move(done));
  entry.waiting.emplace_back(handle);
  _begin(_entries.begin());
  return handle;
}

void InitializationStore::_begin(Place place) {
  if (!place->key || place->key->method != SegmentKey::Method::AES128) return _fetch(place);
  auto request = _keys.get(*place->key, [this, place](const KeyResult& result) {
    if (const auto* error = std::get_if<platform::Error>(&result)) return _end(place, *error);
    place->contentKey = std::get<ContentKey>(result);
    _fetch(place);
  });
  // Null: the handler was called synchronously, and the entry may be erased.
  if (request) place->keyRequest = std::move(request);
}

void InitializationStore::_fetch(Place place) {
  if (place->urlIndex >= place->resource.urls.size()) {
    return _end(place,
                networkError(platform::URLErrorCode::BadURL, "The initialization has no address."));
  }
  place->fetch = std::make_unique<BodyFetch>(
      _source,
      TransferRequest{place->resource.urls[place->urlIndex], TransferKind::Initialization,
                      place->resource.span, false},
      kMostInitializationBytes,
      [this, place](FetchResult result) { _fetched(place, std::move(result)); });
}

void InitializationStore::_fetched(Place place, FetchResult result) {
  if (auto* error = std::get_if<platform::Error>(&result)) {
    if (++place->urlIndex < place->resource.urls.size()) {
      const auto ended = std::move(place->fetch);
      return _fetch(place);
    }
    return _end(place, *error);
  }
  std::string bytes = std::move(std::get<FetchedBody>(result).bytes);
  if (place->contentKey) {
    SegmentDecryptor decryptor(*place->contentKey,
                               place->key->initialVector.value_or(std::array<std::byte, 16>{}));
    std::string clear = decryptor.pass(bytes);
    const auto rest = decryptor.finish();
    if (!rest) {
      return _end(place, mediaError(platform::MediaErrorCode::ContentNotAuthorized,
                                    "The key does not fit."));
    }
    bytes = clear + *rest;
  }
  _end(place, completeBytes(bytes));
}

void InitializationStore::_end(Place place, const Result& result) {
  const auto fetch = std::move(place->fetch);
  const auto waiting = std::exchange(place->waiting, {});
  if (const auto* bytes = std::get_if<std::shared_ptr<const SegmentBytes>>(&result))
    place->bytes = *bytes;
  else
    _entries.erase(place);
  for (const auto& each : waiting)
    if (const auto done = each.lock()) (*done)(result);
}

}  // namespace streaming
