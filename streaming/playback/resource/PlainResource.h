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

/// Memory limits of a plain resource. Tests use smaller values.
struct PlainResourceLimits {
  std::uint64_t ahead = std::uint64_t{24} * 1024 * 1024;     ///< of the read position
  std::uint64_t behind = std::uint64_t{8} * 1024 * 1024;     ///< of the read position
  std::uint64_t aside = std::uint64_t{4} * 1024 * 1024;      ///< elsewhere, such as an index
  std::uint64_t idleAhead = std::uint64_t{2} * 1024 * 1024;  ///< of a previous read position
  /// A read waits for a running transfer that is at most this far behind it.
  std::uint64_t near = std::uint64_t{1024} * 1024;
};

/// Handlers of the owner. Any of them may be empty.
struct PlainResourceHandlers {
  /// Transfer thread: a transfer has failed. Its bytes may not be needed.
  std::function<void(const platform::Error& error)> lost;
  /// Reader thread: a read has failed.
  std::function<void(const platform::Error& error)> failed;
  /// Reader thread: the first successful read after a failed one.
  std::function<void()> recovered;
};

/// Reads a plain resource with transfers of an item. It takes over the transfer that detected the
/// content type. That transfer's owner forwards its events to the TransferObserver functions.
class PlainResource final : public ResourceReader, public TransferObserver {
 public:
  /// Transfer thread. `head` and `firstBytes` were received from `running`. If `running` is null,
  /// call transferEnded() next.
  static std::shared_ptr<PlainResource> make(std::shared_ptr<TransferSource> source,
                                             std::string url, const ResponseHead& head,
                                             std::string_view firstBytes,
                                             std::unique_ptr<Transfer> running,
                                             PlainResourceHandlers handlers = {},
                                             PlainResourceLimits limits = {});
  /// Any thread. Transfers are cancelled asynchronously on the transfer thread.
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

  // Forwarded events of the first transfer; transfer thread.
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
