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

/// What is known of a body before it comes.
struct ResponseHead {
  int status = 200;
  std::string url;  ///< after redirects
  HeaderFields fields;
  std::optional<std::uint64_t> length;       ///< of the body that follows
  std::uint64_t offset = 0;                  ///< of the body within its resource
  std::optional<std::uint64_t> totalLength;  ///< of the resource
  bool acceptsRanges = false;                ///< other parts can be requested

  /// The first field of that name, without regard to case; empty: none.
  std::string field(std::string_view name) const;
};

/// What a transfer is for. It decides who is asked (keys of schemes of their own go to the sender),
/// what may be compressed, and how its failure is counted.
enum class TransferKind { Item, Manifest, Key, Initialization, Index, Media, Text, Clock };

struct TransferRequest {
  std::string url;  ///< absolute
  TransferKind kind = TransferKind::Media;
  std::optional<ByteSpan> span;   ///< none: all of it
  bool wantsIcyMetadata = false;  ///< titles of a radio station within the body
};

enum class BodyFlow {
  More,
  Pause,  ///< the bytes are taken; Transfer::resume() says when there is room for more
  Abort,  ///< no more is wanted; transferEnded() is called without an error
};

/// Hears of one transfer. Called on the transfer thread.
class TransferObserver {
 public:
  virtual ~TransferObserver() = default;
  /// Once, before any byte. Not for a response whose status is an error.
  virtual BodyFlow transferGotHead(const ResponseHead& head) = 0;
  virtual BodyFlow transferGotBytes(std::string_view bytes) = 0;
  /// Last, and once, unless the transfer was cancelled. An HTTP status is an error of
  /// platform::kURLErrorDomain with the status as its code.
  virtual void transferEnded(const std::optional<platform::Error>& error) = 0;
};

/// A request that is under way. Transfer thread only. Destroying it cancels it; no callback comes
/// afterwards. It may be destroyed from within transferEnded(), not from within the others.
class Transfer {
 public:
  virtual ~Transfer() = default;
  /// There is room again after BodyFlow::Pause.
  virtual void resume() = 0;
};

using MonotonicTime = std::chrono::steady_clock::time_point;

/// Where transfers are made from, in the name of one item. Transfer thread only, but for post().
class TransferSource {
 public:
  virtual ~TransferSource() = default;
  /// `observer` outlives the transfer. No callback comes before start() has returned.
  virtual std::unique_ptr<Transfer> start(const TransferRequest& request,
                                          TransferObserver& observer) = 0;
  /// Calls `task` on the transfer thread at `when`. Destroying the handle cancels it.
  virtual std::shared_ptr<void> callAt(MonotonicTime when, std::function<void()> task) = 0;
  virtual MonotonicTime now() const = 0;
  virtual platform::Date civilTime() const = 0;
  /// Any thread: calls `task` on the transfer thread. After the item was closed it does nothing.
  virtual void post(std::function<void()> task) = 0;
};

}  // namespace streaming
