#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

#include "media/segments/TrackDemuxer.h"

namespace media {

/// What demuxers have found and the pipeline has not taken yet, in one queue for each kind.
///
/// Queues are bounded in time and bytes. Where one demuxer fills both, it may go beyond the bounds
/// of one while the other is empty and waited for. Beyond further bounds the empty one gets a gap,
/// or ends where not even a format has come, so that neither waits for the other for ever.
///
/// Threads: one puts into a queue, one takes from it; the rest is for any.
class PacketQueues {
 public:
  /// The queues that a demuxer fills.
  struct Targets {
    bool video = false;
    bool audio = false;
    friend bool operator==(const Targets&, const Targets&) = default;
  };

  /// Forgets everything. Items may be put and taken.
  void open();
  /// Ends all waits, and refuses everything until open().
  void close();

  /// Waits for room. What is of no kind goes into all targets. False: closed.
  bool put(ElementaryItem item, Targets targets);
  /// None: there is none yet, or closed.
  std::optional<ElementaryItem> tryTake(ElementaryKind kind);
  /// Waits for an item. None: closed.
  std::optional<ElementaryItem> take(ElementaryKind kind);

  /// The time in seconds up to which media have been put; none before the first.
  std::optional<double> newest(ElementaryKind kind) const;
  /// All of the kind has been put.
  bool isComplete(ElementaryKind kind) const;

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

  mutable std::mutex _mutex;  // guards the rest
  std::condition_variable _changed;
  std::array<Queue, 2> _queues;
  bool _isClosed = true;
};

}  // namespace media
