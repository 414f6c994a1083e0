#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "streaming/foundation/ByteSpan.h"

namespace streaming {

using HeaderFields = std::vector<std::pair<std::string, std::string>>;

struct ResponseHead {
  int status = 200;
  std::string url;  ///< after redirects
  HeaderFields fields;
  std::optional<std::uint64_t> length;       ///< of the body
  std::uint64_t offset = 0;                  ///< offset of the body in the resource
  std::optional<std::uint64_t> totalLength;  ///< of the resource
  bool acceptsRanges = false;                ///< byte ranges can be requested

  /// The first field with that name, ignoring case; empty: none.
  std::string field(std::string_view name) const;
};

/// The purpose of a transfer. It determines whether the sender is asked, whether compression is
/// accepted, and how a failure is counted.
enum class TransferKind { Item, Manifest, Key, Initialization, Index, Media, Text, Clock };

struct TransferRequest {
  std::string url;  ///< absolute
  TransferKind kind = TransferKind::Media;
  std::optional<ByteSpan> span;   ///< nullopt: the whole resource
  bool wantsIcyMetadata = false;  ///< request titles of an internet radio station
};

enum class BodyFlow {
  More,
  Pause,  ///< the bytes were accepted; continue after Transfer::resume()
  Abort,  ///< stop; transferEnded() is called without an error
};

/// Receives the events of one transfer, on the transfer thread.
class TransferObserver {
 public:
  virtual ~TransferObserver() = default;
  /// Called once, before any bytes. Not called for an error status.
  virtual BodyFlow transferGotHead(const ResponseHead& head) = 0;
  virtual BodyFlow transferGotBytes(std::string_view bytes) = 0;
  /// Called once, at the end, unless the transfer was cancelled. An HTTP error has the domain
  /// platform::kURLErrorDomain and the status as its code.
  virtual void transferEnded(const std::optional<platform::Error>& error) = 0;
};

/// A running request. Transfer thread only. Destroying it cancels it; no callback follows. It may
/// be destroyed in transferEnded(), but not in the other callbacks.
class Transfer {
 public:
  virtual ~Transfer() = default;
  /// Continues after BodyFlow::Pause.
  virtual void resume() = 0;
};

using MonotonicTime = std::chrono::steady_clock::time_point;

/// Starts transfers of one item. Transfer thread only, except post().
class TransferSource {
 public:
  virtual ~TransferSource() = default;
  /// `observer` must outlive the transfer. No callback is called before start() returns.
  virtual std::unique_ptr<Transfer> start(const TransferRequest& request,
                                          TransferObserver& observer) = 0;
  /// Runs `task` on the transfer thread at `when`. Destroying the handle cancels it.
  virtual std::shared_ptr<void> callAt(MonotonicTime when, std::function<void()> task) = 0;
  virtual MonotonicTime now() const = 0;
  virtual platform::Date civilTime() const = 0;
  /// Any thread. Runs `task` on the transfer thread, unless the item was closed.
  virtual void post(std::function<void()> task) = 0;
};

}  // namespace streaming
