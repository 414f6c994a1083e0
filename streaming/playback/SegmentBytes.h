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

/// Bytes that arrive: one thread appends, another one reads from the beginning or anywhere. Any
/// thread.
///
/// Of a long segment only a window around the reader is held. The writer pauses while the window is
/// full. When the reader jumps out of the window, the writer starts again at the new place.
class SegmentBytes {
 public:
  enum class State { Arriving, Complete, Failed };

  /// A longer segment is not held whole. Tests make these smaller.
  struct Limits {
    std::uint64_t whole = std::uint64_t{20} * 1024 * 1024;
    std::uint64_t ahead = std::uint64_t{20} * 1024 * 1024;  ///< of the reader, in a window
    std::uint64_t behind = std::uint64_t{2} * 1024 * 1024;  ///< likewise
    /// The reader waits for bytes that are so near; others are asked for.
    std::uint64_t near = std::uint64_t{1024} * 1024;
  };
  SegmentBytes() : SegmentBytes(Limits{}) {}
  explicit SegmentBytes(Limits limits) : _limits(limits) {}

  // For the writer:

  /// `readerMoved` is called on the thread of the reader when isFull() may have become false, or
  /// when there is a wanted() place. An empty one removes it: nothing can be asked for any more.
  void setSource(std::function<void()> readerMoved);
  /// The size of the whole segment. `canJump`: the writer can start anywhere.
  void expect(std::optional<std::uint64_t> total, bool canJump);
  void append(std::string_view bytes);
  /// The bytes up to the end are there.
  void complete();
  /// No more bytes come. Those that have come stay readable.
  void fail(platform::Error error);
  /// Enough is there for now. `readerMoved` is called when there is room again.
  bool isFull();
  /// Where the reader waits, if the bytes that come next are others. Until restart().
  std::optional<std::uint64_t> wanted() const;
  /// Forgets all bytes. What is appended next belongs at `offset`.
  void restart(std::uint64_t offset);

  State state() const;
  std::uint64_t size() const;  ///< up to the last byte so far
  std::uint64_t held() const;  ///< bytes in memory
  std::optional<platform::Error> error() const;
  /// Only a window of it is held.
  bool isLong() const;
  /// It can be read from its beginning: that is held, or can be asked for.
  bool isReadable() const;
  /// Reads at any place succeed soon: the whole is held, or can be asked for.
  bool isSeekable() const;
  /// The size of the whole segment, as far as it is known.
  std::optional<std::uint64_t> total() const;
  /// The part of the segment that is held, as shares of its length. None while that is unknown.
  struct Part {
    double begin = 0;
    double end = 1;
  };
  std::optional<Part> part() const;

  /// Copies bytes from `offset` on. Waits until there is at least one, or the end, or a failure, or
  /// `gate` is closed; 0 in the last three cases. The wait has no bound of its own: transfers end
  /// by themselves.
  std::size_t read(std::uint64_t offset, std::span<std::byte> into, const ReadGate& gate) const;
  /// Waits until all bytes are there. False: they will not be, or `gate` is closed.
  bool waitUntilComplete(const ReadGate& gate) const;
  /// All bytes that are held, without waiting.
  std::string copy() const;

 private:
  /// What the reader changes.
  struct Window {
    std::string bytes;
    std::uint64_t begin = 0;   // of the bytes that are held
    std::uint64_t reader = 0;  // where it is read next
    std::optional<std::uint64_t> wanted;
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
  mutable std::mutex _mutex;  // guards the rest
  mutable std::condition_variable _changed;
  mutable Window _window;
  bool _hasSource = false;
  bool _isLong = false;
  bool _canJump = false;
  std::optional<std::uint64_t> _total;
  State _state = State::Arriving;
  std::optional<platform::Error> _error;
};

}  // namespace streaming
