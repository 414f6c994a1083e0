#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Error.h"
#include "streaming/playback/TrackReader.h"
#include "streaming/playback/loading/InitializationStore.h"
#include "streaming/playback/loading/KeyStore.h"
#include "streaming/playback/loading/SegmentDecryptor.h"
#include "streaming/playback/loading/SpanFilter.h"
#include "streaming/playback/loading/ThroughputMeter.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

struct FetchTools {
  TransferSource& source;
  KeyStore& keys;
  InitializationStore& initializations;
  ThroughputMeter& meter;
};

/// Loads one segment with its key and initialization section, trying alternative URLs. A long
/// segment is loaded around the read position, also after the end was reached. Transfer thread
/// only. Destroying it cancels the request and fails the bytes.
class SegmentFetch final : private TransferObserver {
 public:
  struct Failure {
    platform::Error error;
    std::string url;
    bool isKey = false;  ///< the key has failed
  };
  struct Handlers {
    /// The first bytes of the segment and the initialization section are available.
    std::function<void(TrackPiece piece)> began;
    /// Called once, at the end. After `began`, a failure is also set in the bytes of the piece. The
    /// fetch may be destroyed in the handler.
    std::function<void(std::optional<Failure> failure)> ended;
  };

  SegmentFetch(const FetchTools& tools, Segment segment,
               std::shared_ptr<const Representation> representation, TransferKind kind,
               Handlers handlers, SegmentBytes::Limits limits = {});
  ~SegmentFetch() override;
  SegmentFetch(const SegmentFetch&) = delete;
  SegmentFetch& operator=(const SegmentFetch&) = delete;

  void start();
  const Segment& segment() const { return _segment; }
  /// The reader may request discarded bytes again.
  bool isLong() const { return _media->isLong(); }
  const std::shared_ptr<const Representation>& representation() const { return _representation; }

 private:
  /// A dependency of the segment: its key or initialization section.
  template <typename T>
  struct Needed {
    T value;
    bool isThere = false;
    std::shared_ptr<void> request;
  };

  BodyFlow transferGotHead(const ResponseHead& head) override;
  BodyFlow transferGotBytes(std::string_view bytes) override;
  void transferEnded(const std::optional<platform::Error>& error) override;

  void _startInitialization();
  void _startMedia(std::uint64_t offset);
  void _readerMoved();
  void _append(std::string_view bytes);
  void _offer();
  void _finishMedia();
  void _fail(platform::Error error, bool isKey = false);
  void _end(std::optional<Failure> failure);
  std::array<std::byte, 16> _initialVector() const;
  std::optional<std::uint64_t> _totalOf(const ResponseHead& head) const;

  const FetchTools _tools;
  const Segment _segment;
  const std::shared_ptr<const Representation> _representation;
  const TransferKind _kind;
  Handlers _handlers;
  std::size_t _urlIndex = 0;
  std::uint64_t _begin = 0;  // offset of the transfer in the segment
  SpanFilter _filter{std::nullopt};
  std::optional<platform::Error> _refusal;
  Needed<ContentKey> _key;
  std::optional<SegmentDecryptor> _decryptor;
  const std::shared_ptr<SegmentBytes> _media;
  Needed<std::shared_ptr<const SegmentBytes>> _initialization;
  bool _isOffered = false;
  bool _canSeek = false;   // byte ranges of the segment can be requested
  bool _isPaused = false;  // waiting for the reader
  bool _hasMedia = false;  // the segment is complete
  std::optional<ThroughputMeter::Body> _measured;
  std::unique_ptr<Transfer> _transfer;
  std::shared_ptr<SegmentFetch*> _self;  // tasks that the reader posts hold a weak reference
};

}  // namespace streaming
