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

/// Random access to a plain resource, for demuxers. One thread calls read(); other functions may be
/// called on any thread.
class ResourceReader {
 public:
  virtual ~ResourceReader() = default;
  virtual std::optional<std::uint64_t> size() const = 0;
  /// read() accepts any offset.
  virtual bool isSeekable() const = 0;
  virtual std::string mimeType() const = 0;
  virtual HeaderFields fields() const = 0;
  /// Bytes between titles of an internet radio station (`icy-metaint`); 0: no titles.
  virtual std::uint64_t icyInterval() const = 0;

  struct Result {
    std::size_t count = 0;  ///< 0: end of resource, error, or closed gate
    std::optional<platform::Error> error;
  };
  /// Waits until at least one byte at `offset` is available. If no running transfer will reach
  /// `offset` soon, a new request is started.
  virtual Result read(std::uint64_t offset, std::span<std::byte> into, const ReadGate& gate) = 0;
  /// The byte ranges in memory, sorted.
  virtual std::vector<ByteSpan> loaded() const = 0;
  /// `handler` is called on any thread, with true when a read starts to wait and false when it
  /// continues. An empty handler removes the current one.
  virtual void whenWaiting(std::function<void(bool isWaiting)> handler) = 0;
};

}  // namespace streaming
