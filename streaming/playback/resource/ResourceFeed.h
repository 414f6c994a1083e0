#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/playback/resource/PlainResource.h"
#include "streaming/playback/resource/SpanStore.h"

namespace streaming {

/// The transfers of a plain resource. Up to two positions are loaded at once, so that video and
/// audio that are far apart in the file can be read alternately.
class ResourceFeed final : public std::enable_shared_from_this<ResourceFeed> {
 public:
  ResourceFeed(std::shared_ptr<TransferSource> source, std::string url, ResponseHead head,
               PlainResourceHandlers handlers, PlainResourceLimits limits);
  ResourceFeed(const ResourceFeed&) = delete;
  ResourceFeed& operator=(const ResourceFeed&) = delete;

  // Any thread:
  ResourceReader::Result read(std::uint64_t offset, std::span<std::byte> into,
                              const ReadGate& gate);
  std::optional<std::uint64_t> size() const;
  std::vector<ByteSpan> loaded() const;
  void whenWaiting(std::function<void(bool isWaiting)> handler);

  // Transfer thread:
  void begin(std::string_view firstBytes, std::unique_ptr<Transfer> running);
  BodyFlow firstTransferGotBytes(std::string_view bytes);
  void firstTransferEnded(const std::optional<platform::Error>& error);
  void close();

 private:
  /// A part of the resource that is loaded from `begin` on, with its read position.
  struct Cursor final : TransferObserver {
    explicit Cursor(ResourceFeed& owner) : feed(owner) {}
    BodyFlow transferGotHead(const ResponseHead& head) override {
      return feed._gotHead(*this, head);
    }
    BodyFlow transferGotBytes(std::string_view bytes) override {
      return feed._gotBytes(*this, bytes);
    }
    void transferEnded(const std::optional<platform::Error>& error) override {
      feed._ended(*this, error);
    }

    ResourceFeed& feed;
    std::uint64_t begin = 0;
    std::uint64_t end = 0;     // of the received bytes
    std::uint64_t reader = 0;  // the read position
    std::uint64_t used = 0;    // use counter; higher is more recent
    bool isRunning = false;
    bool isPaused = false;
    std::unique_ptr<Transfer> transfer;  // transfer thread only
  };

  // Call with _mutex locked:
  Cursor* _cursorContaining(std::uint64_t offset) const;
  Cursor* _cursorReaching(std::uint64_t offset) const;
  bool _isNear(const Cursor& cursor, std::uint64_t offset) const;
  std::uint64_t _ahead(const Cursor& cursor) const;
  std::uint64_t _limit(const Cursor& cursor) const;
  bool _canResume(const Cursor& cursor) const;
  bool _noteRead(std::uint64_t offset, std::size_t count);
  void _trim();
  void _fail(platform::Error error);

  BodyFlow _gotHead(Cursor& cursor, const ResponseHead& head);
  BodyFlow _gotBytes(Cursor& cursor, std::string_view bytes);
  void _ended(Cursor& cursor, const std::optional<platform::Error>& error);
  void _postWork();
  void _work();
  void _fetch(std::uint64_t offset);
  void _notifyWaiting(bool isWaiting);

  const std::shared_ptr<TransferSource> _source;
  const std::string _url;
  const ResponseHead _head;
  const PlainResourceHandlers _handlers;
  const PlainResourceLimits _limits;
  Cursor* _first = nullptr;  // transfer thread only; null: dropped

  mutable std::mutex _mutex;  // guards the members below
  std::condition_variable _changed;
  SpanStore _store;
  std::vector<std::unique_ptr<Cursor>> _cursors;  // modified by the transfer thread only
  std::optional<std::uint64_t> _size;
  std::optional<std::uint64_t> _requestedOffset;  // the offset a read waits for
  std::optional<platform::Error> _error;          // for the waiting read
  std::optional<platform::Error> _lastError;      // of the transfer that ended last
  bool _hasChanged = false;                       // another version of the resource was received
  bool _hasFailed = false;                        // the last read has failed
  bool _isWorkPosted = false;
  bool _isClosed = false;
  std::uint64_t _useCount = 0;
  std::function<void(bool)> _waiting;
};

}  // namespace streaming
