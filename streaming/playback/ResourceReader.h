#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"
#include "streaming/foundation/ByteSpan.h"
#include "streaming/playback/SegmentBytes.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// A plain resource, which the demuxers of the media library read at any place. One thread reads;
/// the rest is for any.
class ResourceReader {
 public:
  virtual ~ResourceReader() = default;
  virtual std::optional<std::uint64_t> size() const = 0;
  /// Other places than the next one can be read.
  virtual bool isSeekable() const = 0;
  virtual std::string mimeType() const = 0;
  virtual HeaderFields fields() const = 0;
  /// Bytes between the titles of a radio station (`icy-metaint`); 0: it sends none.
  virtual std::uint64_t icyInterval() const = 0;

  struct Result {
    std::size_t count = 0;  ///< 0: the end, a failure, or the gate is closed
    std::optional<platform::Error> error;
  };
  /// Waits until there is at least one byte at `offset`. What is in memory is copied at once. A
  /// place that a running transfer reaches soon is waited for; another one is requested.
  virtual Result read(std::uint64_t offset, std::span<std::byte> into, const ReadGate& gate) = 0;
  /// The parts that are in memory, by offset.
  virtual std::vector<ByteSpan> loaded() const = 0;
  /// `handler` is called on any thread when a read begins to wait (true) and when it goes on
  /// (false). An empty one removes it.
  virtual void whenWaiting(std::function<void(bool isWaiting)> handler) = 0;
};

}  // namespace streaming
