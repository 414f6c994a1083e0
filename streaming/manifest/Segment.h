#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "streaming/foundation/ByteSpan.h"

namespace streaming {

/// A resource or a byte range of it.
struct Resource {
  std::vector<std::string> urls;  ///< absolute; alternatives after the first
  std::optional<ByteSpan> span;
  friend bool operator==(const Resource&, const Resource&) = default;
};

/// The key of an encrypted segment (EXT-X-KEY, or segment encryption of DASH).
struct SegmentKey {
  enum class Method {
    AES128,     ///< the whole segment is encrypted (CBC with padding)
    SampleAES,  ///< samples of a transport stream or packed audio are encrypted
  };
  Method method = Method::AES128;
  std::string url;        ///< absolute
  std::string keyFormat;  ///< empty: "identity"
  /// nullopt: the media sequence number is used.
  std::optional<std::array<std::byte, 16>> initialVector;
  friend bool operator==(const SegmentKey&, const SegmentKey&) = default;
};

/// An initialization section (EXT-X-MAP) or initialization segment.
struct Initialization {
  Resource resource;
  std::shared_ptr<const SegmentKey> key;  ///< null: not encrypted
};

/// A segment or partial segment: the unit of a media request.
struct Segment {
  std::uint64_t number = 0;  ///< increases within the representation
  /// Low-latency HLS: the index of a partial segment. nullopt: the whole segment.
  std::optional<std::uint64_t> part;
  double start = 0;     ///< presentation time in seconds
  double duration = 0;  ///< seconds, from the manifest
  Resource resource;
  std::shared_ptr<const Initialization> initialization;  ///< null: none
  std::shared_ptr<const SegmentKey> key;                 ///< null: not encrypted
  bool isGap = false;  ///< EXT-X-GAP: the segment must not be requested
  /// Equal for segments whose time stamps are continuous.
  std::uint64_t discontinuity = 0;
  std::optional<platform::Date> date;  ///< civil time of the start
  /// DASH live: civil time from which the segment can be requested.
  std::optional<platform::Date> availableFrom;

  double end() const { return start + duration; }
};

/// The segments of one representation in one version of the manifest. Implementations may compute
/// segments on demand. Immutable; may be used on any thread.
class SegmentIndex {
 public:
  virtual ~SegmentIndex() = default;
  SegmentIndex() = default;
  SegmentIndex(const SegmentIndex&) = delete;
  SegmentIndex& operator=(const SegmentIndex&) = delete;

  /// The segment that contains `time`, or the next one. nullopt after the last segment.
  virtual std::optional<Segment> at(double time) const = 0;
  /// The segment after `previous`. `previous` may be of an older version or of another
  /// representation of the track. nullopt if it is not known yet, and at the end.
  virtual std::optional<Segment> after(const Segment& previous) const = 0;
  /// The preload hint (EXT-X-PRELOAD-HINT) after `previous`. Its duration is an estimate.
  virtual std::optional<Segment> preloadHintAfter(const Segment& /*previous*/) const {
    return std::nullopt;
  }
  /// The first and the last segment that are available at civil time `now`. nullopt if there is
  /// none.
  virtual std::optional<Segment> first(platform::Date now) const = 0;
  virtual std::optional<Segment> last(platform::Date now) const = 0;
  /// No more segments will be added.
  virtual bool isComplete() const = 0;
};

/// A file with an index of its segments (SegmentBase of DASH).
struct IndexedFile {
  Resource file;  ///< has no span
  std::shared_ptr<const Initialization>
      initialization;                 ///< null: the bytes of the file before the index
  std::optional<ByteSpan> indexSpan;  ///< nullopt: unknown; the index is searched at the beginning
  double periodStart = 0;
  std::optional<double> periodEnd;
  double timeOffset = 0;  ///< see Representation::timeOffset
};

}  // namespace streaming
