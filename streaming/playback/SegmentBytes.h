#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/foundation/Error.h"
#include "streaming/playback/ReadGate.h"

namespace streaming {

/// Bytes that arrive: one thread appends, another one reads from the beginning or anywhere. Any
/// thread.
class SegmentBytes {
 public:
  enum class State { Arriving, Complete, Failed };

  void append(std::string_view bytes);
  /// All bytes are there.
  void complete();
  /// No more bytes come. Those that have come stay readable.
  void fail(platform::Error error);

  State state() const;
  std::uint64_t size() const;  ///< so far
  std::optional<platform::Error> error() const;

  /// Copies bytes from `offset` on. Waits until there is at least one, or the end, or a failure, or
  /// `gate` is closed; 0 in the last three cases. The wait has no bound of its own: transfers end
  /// by themselves.
  std::size_t read(std::uint64_t offset, std::span<std::byte> into, const ReadGate& gate) const;
  /// Waits until all bytes are there. False: they will not be, or `gate` is closed.
  bool waitUntilComplete(const ReadGate& gate) const;
  /// All bytes so far, without waiting.
  std::string copy() const;

 private:
  void _end(State state, std::optional<platform::Error> error);

  mutable std::mutex _mutex;  // guards the rest
  mutable std::condition_variable _changed;
  std::string _bytes;
  State _state = State::Arriving;
  std::optional<platform::Error> _error;
};

}  // namespace streaming
