#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

#include "media/segments/TrackDemuxer.h"

namespace media {

/// Demuxed packets that have not been pushed yet: one queue for each kind.
///
/// Queues are limited in time and bytes. A demuxer that fills both may exceed the limits of one
/// queue while a reader waits for the other. At a second limit the empty queue gets a gap, or an
/// end if not even caps have arrived, so that the two do not wait for each other forever.
///
/// Threads: one writer and one reader for each queue; the rest any.
class PacketQueues {
 public:
  /// The queues that a demuxer fills.
  struct Targets {
    bool video = false;
    bool audio = false;
    friend bool operator==(const Targets&, const Targets&) = default;
  };

  /// Clears the queues and accepts items.
  void open();
  /// Ends all waits and rejects items until open().
  void close();

  /// Blocks until there is room. Items without a kind are put into all targets. Returns false if
  /// closed.
  bool put(ElementaryItem item, Targets targets);
  /// Returns nullopt if the queue is empty or closed.
  std::optional<ElementaryItem> tryTake(ElementaryKind kind);
  /// Blocks until there is an item. Returns nullopt if closed.
  std::optional<ElementaryItem> take(ElementaryKind kind);

  /// Returns the end time in seconds of the newest packet, or nullopt before the first one.
  std::optional<double> newest(ElementaryKind kind) const;
  /// Returns whether the end was put into the queue.
  bool isComplete(ElementaryKind kind) const;
  /// Returns whether the end was put into the queue before any format: the media lack this kind.
  bool isMissing(ElementaryKind kind) const;

 private:
  struct Entry {
    ElementaryItem item;
    std::size_t bytes = 0;
    std::optional<double> time;
  };
  struct Queue {
    std::deque<Entry> entries;
    std::size_t bytes = 0;
    std::optional<double> newest;
    bool hasFormat = false;
    bool isAwaited = false;
    bool isComplete = false;

    double span() const;
    bool isFull() const;
    bool isStarving() const { return isAwaited && entries.empty() && !isComplete; }
  };
  Queue& _queue(ElementaryKind kind) { return _queues[kind == ElementaryKind::Video ? 0 : 1]; }
  const Queue& _queue(ElementaryKind kind) const {
    return _queues[kind == ElementaryKind::Video ? 0 : 1];
  }
  bool _mayPut(Targets targets);
  void _append(Queue& queue, ElementaryItem item);
  std::optional<ElementaryItem> _takeFirst(Queue& queue);

  mutable std::mutex _mutex;  // guards the members below
  std::condition_variable _changed;
  std::array<Queue, 2> _queues;
  bool _isClosed = true;
};

}  // namespace media
