#include "streaming/playback/resource/ResourceFeed.h"

#include <algorithm>
#include <utility>

#include "streaming/transfer/NetworkErrors.h"

namespace streaming {
namespace {

using platform::URLErrorCode;

constexpr std::size_t kMaxCursors = 2;

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
  auto cursor = std::make_unique<Cursor>(*this);
  cursor->begin = cursor->reader = _head.offset;
  cursor->end = _head.offset + firstBytes.size();
  cursor->isRunning = true;
  cursor->transfer = std::move(running);
  _first = cursor.get();
  const std::lock_guard lock(_mutex);
  _store.put(_head.offset, firstBytes);
  _cursors.push_back(std::move(cursor));
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

void ResourceFeed::_notifyWaiting(bool isWaiting) {
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
    if (_requestedOffset && _error) {
      result.error = std::exchange(_error, std::nullopt);
      break;
    }
    if (!std::exchange(hasWaited, true)) {
      _error.reset();
      _requestedOffset = offset;
      lock.unlock();
      _notifyWaiting(true);
      _postWork();
      lock.lock();
      continue;
    }
    _changed.wait(lock);
  }
  _requestedOffset.reset();
  const bool hasRoom = result.count > 0 && _noteRead(offset, result.count);
  const bool hasRecovered = result.count > 0 && std::exchange(_hasFailed, false);
  if (result.error) _hasFailed = true;
  lock.unlock();
  if (result.error && _handlers.failed) _handlers.failed(*result.error);
  if (hasRecovered && _handlers.recovered) _handlers.recovered();
  if (hasRoom) _postWork();
  if (hasWaited) _notifyWaiting(false);
  return result;
}

/// True: a paused transfer can continue.
bool ResourceFeed::_noteRead(std::uint64_t offset, std::size_t count) {
  Cursor* const cursor = _cursorContaining(offset);
  if (!cursor) return false;
  cursor->reader = offset + count;
  cursor->used = ++_useCount;
  return _canResume(*cursor);
}

/// Returns the cursor that contains the byte. If there are two, the cursor that was read last.
ResourceFeed::Cursor* ResourceFeed::_cursorContaining(std::uint64_t offset) const {
  Cursor* newest = nullptr;
  for (const auto& each : _cursors)
    if (offset >= each->begin && offset < each->end && (!newest || each->used > newest->used))
      newest = each.get();
  return newest;
}

/// The cursor whose running transfer will reach the byte soon.
ResourceFeed::Cursor* ResourceFeed::_cursorReaching(std::uint64_t offset) const {
  for (const auto& each : _cursors)
    if (each->isRunning && _isNear(*each, offset)) return each.get();
  return nullptr;
}

bool ResourceFeed::_isNear(const Cursor& cursor, std::uint64_t offset) const {
  return offset >= cursor.end && (!_head.acceptsRanges || offset - cursor.end <= _limits.near);
}

std::uint64_t ResourceFeed::_ahead(const Cursor& cursor) const {
  return cursor.end > cursor.reader ? cursor.end - cursor.reader : 0;
}

std::uint64_t ResourceFeed::_limit(const Cursor& cursor) const {
  std::uint64_t others = 0;
  for (const auto& each : _cursors) {
    if (each.get() == &cursor) continue;
    if (each->used > cursor.used) return _limits.idleAhead;
    others += _ahead(*each);
  }
  return std::max(_limits.idleAhead, _limits.ahead - std::min(_limits.ahead, others));
}

bool ResourceFeed::_canResume(const Cursor& cursor) const {
  // Resume in larger steps, not after every read.
  return cursor.isPaused && _ahead(cursor) <= _limit(cursor) / 4 * 3;
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
  const std::uint64_t behind = _limits.behind / std::max<std::size_t>(_cursors.size(), 1);
  for (const auto& each : _cursors)
    windows.push_back({each->reader - std::min(each->reader, behind), each->end});
  _store.trim(windows, _limits.aside);
}

void ResourceFeed::_fail(platform::Error error) {
  _error = std::move(error);
  _changed.notify_all();
}

/// Resumes transfers, and starts one if the waiting read needs it.
void ResourceFeed::_work() {
  std::vector<Cursor*> resumed;
  std::optional<std::uint64_t> fetched;
  {
    const std::lock_guard lock(_mutex);
    _isWorkPosted = false;
    if (_isClosed) return;
    if (_requestedOffset && _store.endFrom(*_requestedOffset) == *_requestedOffset &&
        !(_size && *_requestedOffset >= *_size)) {
      if (Cursor* const cursor = _cursorReaching(*_requestedOffset)) {
        cursor->reader = *_requestedOffset;
        cursor->used = ++_useCount;
      } else if (_head.acceptsRanges) {
        fetched = _requestedOffset;
      } else {
        _fail(_lastError.value_or(
            networkError(URLErrorCode::Unknown, "The server does not support ranges.")));
      }
    }
    for (const auto& each : _cursors) {
      if (!_canResume(*each)) continue;
      each->isPaused = false;
      resumed.push_back(each.get());
    }
  }
  // Only the transfer thread modifies _cursors, so no lock is needed.
  for (Cursor* const each : resumed)
    if (each->transfer) each->transfer->resume();
  if (fetched) _fetch(*fetched);
}

void ResourceFeed::_fetch(std::uint64_t offset) {
  std::unique_ptr<Cursor> replaced;
  auto fresh = std::make_unique<Cursor>(*this);
  Cursor* const cursor = fresh.get();
  cursor->begin = cursor->end = cursor->reader = offset;
  cursor->isRunning = true;
  {
    const std::lock_guard lock(_mutex);
    if (_cursors.size() >= kMaxCursors) {
      const auto oldest = std::min_element(
          _cursors.begin(), _cursors.end(),
          [](const auto& one, const auto& other) { return one->used < other->used; });
      replaced = std::move(*oldest);
      _cursors.erase(oldest);
    }
    cursor->used = ++_useCount;
    _cursors.push_back(std::move(fresh));
  }
  if (replaced.get() == _first) _first = nullptr;
  replaced.reset();
  TransferRequest request;
  request.url = _url;
  request.span = ByteSpan{offset, std::nullopt};
  cursor->transfer = _source->start(request, *cursor);
}

BodyFlow ResourceFeed::_gotHead(Cursor& cursor, const ResponseHead& head) {
  const auto error = networkError(URLErrorCode::NetworkConnectionLost, "The resource has changed.");
  {
    const std::lock_guard lock(_mutex);
    const bool isSame =
        isSameVersion(_head, head) && (!_size || !head.totalLength || *_size == *head.totalLength);
    if (isSame && head.offset == cursor.begin) return BodyFlow::More;
    _hasChanged = true;
    _fail(error);
  }
  if (_handlers.lost) _handlers.lost(error);
  return BodyFlow::Abort;
}

BodyFlow ResourceFeed::_gotBytes(Cursor& cursor, std::string_view bytes) {
  const std::lock_guard lock(_mutex);
  _store.put(cursor.end, bytes);
  cursor.end += bytes.size();
  _trim();
  if (_requestedOffset) _changed.notify_all();
  if (_ahead(cursor) < _limit(cursor)) return BodyFlow::More;
  cursor.isPaused = true;
  return BodyFlow::Pause;
}

void ResourceFeed::_ended(Cursor& cursor, const std::optional<platform::Error>& error) {
  const auto ended = std::move(cursor.transfer);
  if (error && _handlers.lost) _handlers.lost(*error);
  bool isIncomplete = false;
  {
    const std::lock_guard lock(_mutex);
    cursor.isRunning = false;
    cursor.isPaused = false;
    const bool isWaitedFor = _requestedOffset && _isNear(cursor, *_requestedOffset);
    _lastError = error;
    if (error) {
      if (isWaitedFor && !_hasChanged) _fail(*error);
      return;
    }
    if (!_size) {
      _size = cursor.end;
      _changed.notify_all();
    } else if (isWaitedFor && cursor.end < *_size) {
      // The server sent less than requested. Retry unless it sent nothing.
      if (cursor.end == cursor.begin || !_head.acceptsRanges)
        _fail(networkError(URLErrorCode::NetworkConnectionLost));
      else
        isIncomplete = true;
    }
    _changed.notify_all();
  }
  if (isIncomplete) _postWork();
}

BodyFlow ResourceFeed::firstTransferGotBytes(std::string_view bytes) {
  return _first ? _gotBytes(*_first, bytes) : BodyFlow::Abort;
}

void ResourceFeed::firstTransferEnded(const std::optional<platform::Error>& error) {
  if (Cursor* const first = std::exchange(_first, nullptr)) _ended(*first, error);
}

void ResourceFeed::close() {
  std::vector<std::unique_ptr<Cursor>> cursors;
  {
    const std::lock_guard lock(_mutex);
    _isClosed = true;
    cursors.swap(_cursors);
  }
  _first = nullptr;
}

}  // namespace streaming
