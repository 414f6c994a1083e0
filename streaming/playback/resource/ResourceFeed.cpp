#include "streaming/playback/resource/ResourceFeed.h"

#include <algorithm>
#include <utility>

#include "streaming/transfer/NetworkErrors.h"

namespace streaming {
namespace {

using platform::URLErrorCode;

constexpr std::size_t kMostPlaces = 2;

/// The responses are of the same version, according to ETag and Last-Modified.
bool isSameVersion(const ResponseHead& one, const ResponseHead& other) {
  for (const char* name : {"ETag", "Last-Modified"}) {
    const std::string left = one.field(name);
    const std::string right = other.field(name);
    if (!left.empty() && !right.empty() && left != right) return false;
  }
  return true;
}

}  // namespace

ResourceFeed::ResourceFeed(std::shared_ptr<TransferSource> source, std::string url,
                           ResponseHead head, PlainResourceHandlers handlers,
                           PlainResourceLimits limits)
    : _source(std::move(source)),
      _url(std::move(url)),
      _head(std::move(head)),
      _handlers(std::move(handlers)),
      _limits(limits),
      _size(_head.totalLength) {}

void ResourceFeed::begin(std::string_view firstBytes, std::unique_ptr<Transfer> running) {
  auto place = std::make_unique<Place>(*this);
  place->begin = place->reader = _head.offset;
  place->end = _head.offset + firstBytes.size();
  place->isRunning = true;
  place->transfer = std::move(running);
  _first = place.get();
  const std::lock_guard lock(_mutex);
  _store.put(_head.offset, firstBytes);
  _places.push_back(std::move(place));
}

std::optional<std::uint64_t> ResourceFeed::size() const {
  const std::lock_guard lock(_mutex);
  return _size;
}

std::vector<ByteSpan> ResourceFeed::loaded() const {
  const std::lock_guard lock(_mutex);
  return _store.spans();
}

void ResourceFeed::whenWaiting(std::function<void(bool isWaiting)> handler) {
  const std::lock_guard lock(_mutex);
  _waiting = std::move(handler);
}

void ResourceFeed::_tellWaiting(bool isWaiting) {
  std::function<void(bool)> handler;
  {
    const std::lock_guard lock(_mutex);
    handler = _waiting;
  }
  if (handler) handler(isWaiting);
}

ResourceReader::Result ResourceFeed::read(std::uint64_t offset, std::span<std::byte> into,
                                          const ReadGate& gate) {
  if (into.empty() || gate.isClosed()) return {};
  const ReadGate::Waiter waiter(gate, _mutex, _changed);
  std::unique_lock lock(_mutex);
  bool hasWaited = false;
  ResourceReader::Result result;
  while (true) {
    if (gate.isClosed()) break;
    if (_hasChanged) {
      result.error = _error;
      break;
    }
    result.count = _store.copy(offset, into);
    if (result.count > 0) break;
    if (_size && offset >= *_size) break;
    if (_wanted && _error) {
      result.error = std::exchange(_error, std::nullopt);
      break;
    }
    if (!std::exchange(hasWaited, true)) {
      _error.reset();
      _wanted = offset;
      lock.unlock();
      _tellWaiting(true);
      _postWork();
      lock.lock();
      continue;
    }
    _changed.wait(lock);
  }
  _wanted.reset();
  const bool hasRoom = result.count > 0 && _noteRead(offset, result.count);
  const bool hasRecovered = result.count > 0 && std::exchange(_hasFailed, false);
  if (result.error) _hasFailed = true;
  lock.unlock();
  if (result.error && _handlers.failed) _handlers.failed(*result.error);
  if (hasRecovered && _handlers.recovered) _handlers.recovered();
  if (hasRoom) _postWork();
  if (hasWaited) _tellWaiting(false);
  return result;
}

/// True: a paused transfer can continue.
bool ResourceFeed::_noteRead(std::uint64_t offset, std::size_t count) {
  Place* const place = _placeOf(offset);
  if (!place) return false;
  place->reader = offset + count;
  place->used = ++_useCount;
  return _canResume(*place);
}

/// The place that contains the byte. Of two, the one that was read last.
ResourceFeed::Place* ResourceFeed::_placeOf(std::uint64_t offset) const {
  Place* newest = nullptr;
  for (const auto& each : _places)
    if (offset >= each->begin && offset < each->end && (!newest || each->used > newest->used))
      newest = each.get();
  return newest;
}

/// The place whose running transfer will reach the byte soon.
ResourceFeed::Place* ResourceFeed::_placeReaching(std::uint64_t offset) const {
  for (const auto& each : _places)
    if (each->isRunning && _isNear(*each, offset)) return each.get();
  return nullptr;
}

bool ResourceFeed::_isNear(const Place& place, std::uint64_t offset) const {
  return offset >= place.end && (!_head.acceptsRanges || offset - place.end <= _limits.near);
}

std::uint64_t ResourceFeed::_ahead(const Place& place) const {
  return place.end > place.reader ? place.end - place.reader : 0;
}

std::uint64_t ResourceFeed::_limit(const Place& place) const {
  std::uint64_t others = 0;
  for (const auto& each : _places) {
    if (each.get() == &place) continue;
    if (each->used > place.used) return _limits.idleAhead;
    others += _ahead(*each);
  }
  return std::max(_limits.idleAhead, _limits.ahead - std::min(_limits.ahead, others));
}

bool ResourceFeed::_canResume(const Place& place) const {
  // Resume in larger steps, not after every read.
  return place.isPaused && _ahead(place) <= _limit(place) / 4 * 3;
}

void ResourceFeed::_postWork() {
  {
    const std::lock_guard lock(_mutex);
    if (std::exchange(_isWorkPosted, true)) return;
  }
  _source->post([self = shared_from_this()] { self->_work(); });
}

void ResourceFeed::_trim() {
  std::vector<SpanStore::Window> windows;
  const std::uint64_t behind = _limits.behind / std::max<std::size_t>(_places.size(), 1);
  for (const auto& each : _places)
    windows.push_back({each->reader - std::min(each->reader, behind), each->end});
  _store.trim(windows, _limits.aside);
}

void ResourceFeed::_fail(platform::Error error) {
  _error = std::move(error);
  _changed.notify_all();
}

/// Resumes transfers, and starts one if the waiting read needs it.
void ResourceFeed::_work() {
  std::vector<Place*> resumed;
  std::optional<std::uint64_t> fetched;
  {
    const std::lock_guard lock(_mutex);
    _isWorkPosted = false;
    if (_isClosed) return;
    if (_wanted && _store.endFrom(*_wanted) == *_wanted && !(_size && *_wanted >= *_size)) {
      if (Place* const place = _placeReaching(*_wanted)) {
        place->reader = *_wanted;
        place->used = ++_useCount;
      } else if (_head.acceptsRanges) {
        fetched = _wanted;
      } else {
        _fail(
            _lastError.value_or(networkError(URLErrorCode::Unknown, "The server has no ranges.")));
      }
    }
    for (const auto& each : _places) {
      if (!_canResume(*each)) continue;
      each->isPaused = false;
      resumed.push_back(each.get());
    }
  }
  // Only the transfer thread modifies _places, so no lock is needed.
  for (Place* const each : resumed)
    if (each->transfer) each->transfer->resume();
  if (fetched) _fetch(*fetched);
}

void ResourceFeed::_fetch(std::uint64_t offset) {
  std::unique_ptr<Place> replaced;
  auto fresh = std::make_unique<Place>(*this);
  Place* const place = fresh.get();
  place->begin = place->end = place->reader = offset;
  place->isRunning = true;
  {
    const std::lock_guard lock(_mutex);
    if (_places.size() >= kMostPlaces) {
      const auto oldest = std::min_element(
          _places.begin(), _places.end(),
          [](const auto& one, const auto& other) { return one->used < other->used; });
      replaced = std::move(*oldest);
      _places.erase(oldest);
    }
    place->used = ++_useCount;
    _places.push_back(std::move(fresh));
  }
  if (replaced.get() == _first) _first = nullptr;
  replaced.reset();
  TransferRequest request;
  request.url = _url;
  request.span = ByteSpan{offset, std::nullopt};
  place->transfer = _source->start(request, *place);
}

BodyFlow ResourceFeed::_gotHead(Place& place, const ResponseHead& head) {
  const auto error = networkError(URLErrorCode::NetworkConnectionLost, "The resource has changed.");
  {
    const std::lock_guard lock(_mutex);
    const bool isSame =
        isSameVersion(_head, head) && (!_size || !head.totalLength || *_size == *head.totalLength);
    if (isSame && head.offset == place.begin) return BodyFlow::More;
    _hasChanged = true;
    _fail(error);
  }
  if (_handlers.lost) _handlers.lost(error);
  return BodyFlow::Abort;
}

BodyFlow ResourceFeed::_gotBytes(Place& place, std::string_view bytes) {
  const std::lock_guard lock(_mutex);
  _store.put(place.end, bytes);
  place.end += bytes.size();
  _trim();
  if (_wanted) _changed.notify_all();
  if (_ahead(place) < _limit(place)) return BodyFlow::More;
  place.isPaused = true;
  return BodyFlow::Pause;
}

void ResourceFeed::_ended(Place& place, const std::optional<platform::Error>& error) {
  const auto ended = std::move(place.transfer);
  if (error && _handlers.lost) _handlers.lost(*error);
  bool isIncomplete = false;
  {
    const std::lock_guard lock(_mutex);
    place.isRunning = false;
    place.isPaused = false;
    const bool isWaitedFor = _wanted && _isNear(place, *_wanted);
    _lastError = error;
    if (error) {
      if (isWaitedFor && !_hasChanged) _fail(*error);
      return;
    }
    if (!_size) {
      _size = place.end;
      _changed.notify_all();
    } else if (isWaitedFor && place.end < *_size) {
      // The server sent less than requested. Retry unless it sent nothing.
      if (place.end == place.begin || !_head.acceptsRanges)
        _fail(networkError(URLErrorCode::NetworkConnectionLost));
      else
        isIncomplete = true;
    }
    _changed.notify_all();
  }
  if (isIncomplete) _postWork();
}

BodyFlow ResourceFeed::firstGotBytes(std::string_view bytes) {
  return _first ? _gotBytes(*_first, bytes) : BodyFlow::Abort;
}

void ResourceFeed::firstEnded(const std::optional<platform::Error>& error) {
  if (Place* const first = std::exchange(_first, nullptr)) _ended(*first, error);
}

void ResourceFeed::close() {
  std::vector<std::unique_ptr<Place>> places;
  {
    const std::lock_guard lock(_mutex);
    _isClosed = true;
    places.swap(_places);
  }
  _first = nullptr;
}

}  // namespace streaming
