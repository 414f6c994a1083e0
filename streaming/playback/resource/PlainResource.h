#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/playback/ResourceReader.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

class ResourceFeed;

/// How much of a plain resource is kept in memory. Tests make it smaller.
struct PlainResourceLimits {
  std::uint64_t ahead = std::uint64_t{24} * 1024 * 1024;     ///< of where it is read
  std::uint64_t behind = std::uint64_t{8} * 1024 * 1024;     ///< of where it is read
  std::uint64_t aside = std::uint64_t{4} * 1024 * 1024;      ///< elsewhere, such as an index
  std::uint64_t idleAhead = std::uint64_t{2} * 1024 * 1024;  ///< where it was read before
  /// A place that a running transfer reaches after so many bytes is waited for.
  std::uint64_t near = std::uint64_t{1024} * 1024;
};

/// What an owner of a plain resource hears. Any of them may be empty.
struct PlainResourceHandlers {
  /// On the transfer thread: a transfer has failed for good. Nobody may need its bytes.
  std::function<void(const platform::Error& error)> lost;
  /// On the thread that reads: a read has failed.
  std::function<void(const platform::Error& error)> failed;
  /// On the thread that reads: a read has succeeded after one that failed.
  std::function<void()> recovered;
};

/// Reads a plain resource over transfers of an item. It takes over the transfer that found out that
/// the resource is a plain one: its owner forwards to the observer's functions here.
class PlainResource final : public ResourceReader, public TransferObserver {
 public:
  /// On the transfer thread. `head` and `firstBytes`: what `running` has brought so far. Null
  /// `running`: transferEnded() is called right after this.
  static std::shared_ptr<PlainResource> make(std::shared_ptr<TransferSource> source,
                                             std::string url, const ResponseHead& head,
                                             std::string_view firstBytes,
                                             std::unique_ptr<Transfer> running,
                                             PlainResourceHandlers handlers = {},
                                             PlainResourceLimits limits = {});
  /// On any thread. Transfers end on the transfer thread soon after it.
  ~PlainResource() override;
  PlainResource(const PlainResource&) = delete;
  PlainResource& operator=(const PlainResource&) = delete;

  std::optional<std::uint64_t> size() const override;
  bool isSeekable() const override;
  std::string mimeType() const override;
  HeaderFields fields() const override;
  std::uint64_t icyInterval() const override;
  Result read(std::uint64_t offset, std::span<std::byte> into, const ReadGate& gate) override;
  std::vector<ByteSpan> loaded() const override;
  void whenWaiting(std::function<void(bool isWaiting)> handler) override;

  // Of the transfer that was taken over, on the transfer thread.
  BodyFlow transferGotHead(const ResponseHead& head) override;
  BodyFlow transferGotBytes(std::string_view bytes) override;
  void transferEnded(const std::optional<platform::Error>& error) override;

 private:
  PlainResource(std::shared_ptr<TransferSource> source, ResponseHead head,
                std::shared_ptr<ResourceFeed> feed);

  const std::shared_ptr<TransferSource> _source;
  const ResponseHead _head;
  const std::shared_ptr<ResourceFeed> _feed;
};

}  // namespace streaming
