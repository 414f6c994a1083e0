#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/foundation/Error.h"
#include "streaming/playback/HandlerSlot.h"
#include "streaming/playback/ReadGate.h"

namespace streaming {

/// The bytes of a segment while they arrive. One thread appends, another one reads at any offset.
///
/// Of a long segment only a window around the read position is kept. The writer pauses while the
/// window is full. If the reader seeks outside the window, the writer restarts at the new offset.
class SegmentBytes {
 public:
  enum class State { Arriving, Complete, Failed };

  /// Longer segments are kept in part. Tests use smaller values.
  struct Limits {
    std::uint64_t whole = std::uint64_t{20} * 1024 * 1024;
    std::uint64_t ahead = std::uint64_t{20} * 1024 * 1024;  ///< of the reader
    std::uint64_t behind = std::uint64_t{2} * 1024 * 1024;  ///< of the reader
    /// The reader waits for bytes that are at most this far ahead. Others are requested.
    std::uint64_t near = std::uint64_t{1024} * 1024;
  };
  SegmentBytes() : SegmentBytes(Limits{}) {}
  explicit SegmentBytes(Limits limits) : _limits(limits) {}

  // For the writer:

  /// `readerMoved` is called on the reader's thread when isFull() may have become false, or
  /// requestedOffset() was set. An empty handler means that no further bytes can be requested.
  void setSource(std::function<void()> readerMoved);
  /// `total`: size of the whole segment. `canSeek`: the writer can start at any offset.
  void setTotal(std::optional<std::uint64_t> total, bool canSeek);
  void append(std::string_view bytes);
  /// All bytes up to the end were appended.
  void complete();
  /// No more bytes follow. Bytes in memory stay readable.
  void fail(platform::Error error);
  /// Returns true if the writer must pause. `readerMoved` is called when there is room again.
  bool isFull();
  /// The offset that the reader waits for if the writer must restart there.
  std::optional<std::uint64_t> requestedOffset() const;
  /// Discards all bytes. The next append() starts at `offset`.
  void restart(std::uint64_t offset);

  State state() const;
  std::uint64_t size() const;  ///< end of the received bytes
  std::uint64_t bytesInMemory() const;
  std::optional<platform::Error> error() const;
  bool isLong() const;
  /// The segment can be read from its beginning.
  bool isReadable() const;
  bool isSeekable() const;
  /// The size of the whole segment, if known.
  std::optional<std::uint64_t> total() const;
  /// The range in memory, relative to the size. nullopt: the size is unknown.
  struct Part {
    double begin = 0;
    double end = 1;
  };
  std::optional<Part> part() const;

  /// Copies bytes from `offset`. Waits for at least one byte. Returns 0 at the end, after a
  /// failure, and if `gate` is closed. There is no timeout, because transfers have their own.
  std::size_t read(std::uint64_t offset, std::span<std::byte> into, const ReadGate& gate) const;
  /// Waits for all bytes. False: the segment has failed or is long, or `gate` is closed.
  bool waitUntilComplete(const ReadGate& gate) const;
  /// The bytes in memory.
  std::string copy() const;

 private:
  /// State that the reader changes.
  struct Window {
    std::string bytes;
    std::uint64_t begin = 0;   // offset of `bytes`
    std::uint64_t reader = 0;  // the read position
    std::optional<std::uint64_t> requested;
    bool isPaused = false;
    std::uint64_t end() const { return begin + bytes.size(); }
    std::uint64_t ahead() const { return end() > reader ? end() - reader : 0; }
  };
  enum class Wait { None, Bytes, Source };
  Wait _waitFor(std::uint64_t offset) const;
  bool _noteReader(std::uint64_t offset) const;
  void _discard() const;
  void _end(State state, std::optional<platform::Error> error);

  const Limits _limits;
  mutable HandlerSlot<> _source;
  mutable std::mutex _mutex;  // guards the members below
  mutable std::condition_variable _changed;
  mutable Window _window;
  bool _hasSource = false;
  bool _isLong = false;
  bool _canSeek = false;
  std::optional<std::uint64_t> _total;
  State _state = State::Arriving;
  std::optional<platform::Error> _error;
};

}  // namespace streaming
