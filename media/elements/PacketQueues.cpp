#include "media/elements/PacketQueues.h"

#include <algorithm>
#include <type_traits>
#include <utility>
#include <variant>

#include "media/support/GstTime.h"

namespace media {
namespace {

constexpr double kSeconds = 1.5;
constexpr std::size_t kBytes = std::size_t{8} << 20;
/// Limits of a queue while a reader waits at the empty queue of the other kind.
constexpr double kStarvedSeconds = 30;
constexpr std::size_t kStarvedBytes = std::size_t{32} << 20;
/// If no caps of the other kind arrive within this time, the media do not have it.
constexpr double kMissingKindSeconds = 2;

ElementaryItem copyOf(const ElementaryItem& item) {
  if (const auto* gap = std::get_if<ElementaryGap>(&item)) return *gap;
  if (const auto* failure = std::get_if<ElementaryFailure>(&item)) return *failure;
  return ElementaryEnd{};
}

/// Returns nullopt for items that apply to all kinds.
std::optional<ElementaryKind> kindOf(const ElementaryItem& item) {
  if (const auto* format = std::get_if<ElementaryFormat>(&item)) return format->kind;
  if (const auto* buffer = std::get_if<ElementaryBuffer>(&item)) return buffer->kind;
  return std::nullopt;
}

}  // namespace

double PacketQueues::Queue::span() const {
  const auto oldest = std::find_if(entries.begin(), entries.end(),
                                   [](const Entry& each) { return each.time.has_value(); });
  return oldest == entries.end() || !newest ? 0 : *newest - *oldest->time;
}

bool PacketQueues::Queue::isFull() const { return bytes >= kBytes || span() >= kSeconds; }

void PacketQueues::open() {
  const std::lock_guard lock(_mutex);
  _queues = {};
  _isClosed = false;
}

void PacketQueues::close() {
  std::array<Queue, 2> forgotten;
  const std::lock_guard lock(_mutex);
  forgotten.swap(_queues);
  _isClosed = true;
  _changed.notify_all();
}

bool PacketQueues::put(ElementaryItem item, Targets targets) {
  std::unique_lock lock(_mutex);
  const auto kind = kindOf(item);
  if (kind && !(*kind == ElementaryKind::Video ? targets.video : targets.audio)) return !_isClosed;
  _changed.wait(lock, [&] { return _isClosed || _mayPut(targets); });
  if (_isClosed) return false;
  if (kind) {
    _append(_queue(*kind), std::move(item));
  } else {
    if (targets.video) _append(_queue(ElementaryKind::Video), copyOf(item));
    if (targets.audio) _append(_queue(ElementaryKind::Audio), copyOf(item));
  }
  _changed.notify_all();
  return true;
}

bool PacketQueues::_mayPut(Targets targets) {
  Queue& video = _queue(ElementaryKind::Video);
  Queue& audio = _queue(ElementaryKind::Audio);
  const bool isFull = (targets.video && video.isFull()) || (targets.audio && audio.isFull());
  if (!isFull) return true;
  if (!targets.video || !targets.audio) return false;
  Queue* const starving = video.isStarving() ? &video : audio.isStarving() ? &audio : nullptr;
  if (!starving) return false;
  const Queue& full = starving == &video ? audio : video;
  // Until one kind has a format, it is unknown which kinds the media have.
  const bool mayBeMissing = !starving->hasFormat && full.hasFormat;
  const double limit = mayBeMissing ? kMissingKindSeconds : kStarvedSeconds;
  const double ahead = full.span();
  if (ahead < limit && full.bytes < kStarvedBytes) return true;
  if (!starving->hasFormat && !full.hasFormat) return false;
  if (!starving->hasFormat) {
    _append(*starving, ElementaryEnd{});
    _changed.notify_all();
    return false;
  }
  const double end = full.newest.value_or(0);
  const double start = starving->newest.value_or(end - ahead);
  if (start >= end) return false;
  _append(*starving, ElementaryGap{start, end});
  _changed.notify_all();
  return false;
}

void PacketQueues::_append(Queue& queue, ElementaryItem item) {
  if (queue.isComplete) return;
  Entry entry;
  std::optional<double> end;
  if (std::holds_alternative<ElementaryFormat>(item)) {
    queue.hasFormat = true;
  } else if (const auto* buffer = std::get_if<ElementaryBuffer>(&item)) {
    GstBuffer* const data = buffer->buffer.get();
    entry.bytes = gst_buffer_get_size(data);
    const GstClockTime shown = GST_BUFFER_PTS(data);
    const GstClockTime time = GST_BUFFER_DTS_IS_VALID(data) ? GST_BUFFER_DTS(data) : shown;
    if (GST_CLOCK_TIME_IS_VALID(time)) entry.time = secondsOf(time);
    const GstClockTime last = GST_CLOCK_TIME_IS_VALID(shown) ? shown : time;
    if (GST_CLOCK_TIME_IS_VALID(last))
      end = secondsOf(last + (GST_BUFFER_DURATION_IS_VALID(data) ? GST_BUFFER_DURATION(data) : 0));
  } else if (const auto* gap = std::get_if<ElementaryGap>(&item)) {
    entry.time = gap->start;
    end = gap->end;
  } else {
    queue.isComplete = true;
  }
  if (end) queue.newest = std::max(queue.newest.value_or(*end), *end);
  queue.bytes += entry.bytes;
  entry.item = std::move(item);
  queue.entries.push_back(std::move(entry));
}

std::optional<ElementaryItem> PacketQueues::_takeFirst(Queue& queue) {
  if (queue.entries.empty()) return std::nullopt;
  ElementaryItem item = std::move(queue.entries.front().item);
  queue.bytes -= queue.entries.front().bytes;
  queue.entries.pop_front();
  _changed.notify_all();
  return item;
}

std::optional<ElementaryItem> PacketQueues::tryTake(ElementaryKind kind) {
  const std::lock_guard lock(_mutex);
  return _takeFirst(_queue(kind));
}

std::optional<ElementaryItem> PacketQueues::take(ElementaryKind kind) {
  std::unique_lock lock(_mutex);
  Queue& queue = _queue(kind);
  queue.isAwaited = true;
  _changed.notify_all();
  _changed.wait(lock, [&] { return _isClosed || !queue.entries.empty(); });
  queue.isAwaited = false;
  return _isClosed ? std::nullopt : _takeFirst(queue);
}

std::optional<double> PacketQueues::newest(ElementaryKind kind) const {
  const std::lock_guard lock(_mutex);
  return _queue(kind).newest;
}

bool PacketQueues::isMissing(ElementaryKind kind) const {
  const std::lock_guard lock(_mutex);
  return _queue(kind).isComplete && !_queue(kind).hasFormat;
}

bool PacketQueues::isComplete(ElementaryKind kind) const {
  const std::lock_guard lock(_mutex);
  return _queue(kind).isComplete;
}

}  // namespace media
