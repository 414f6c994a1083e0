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

/// Where bytes are found: a part of a resource, or all of it.
struct Resource {
  std::vector<std::string> urls;  ///< absolute; alternatives after the first
  std::optional<ByteSpan> span;
  friend bool operator==(const Resource&, const Resource&) = default;
};

/// The key of segments that are encrypted by themselves (EXT-X-KEY, segment encryption of DASH).
struct SegmentKey {
  enum class Method {
    AES128,     ///< the whole resource, in CBC with padding
    SampleAES,  ///< samples within a transport stream or packed audio
  };
  Method method = Method::AES128;
  std::string url;        ///< absolute
  std::string keyFormat;  ///< empty: "identity"
  /// None: the number of the segment.
  std::optional<std::array<std::byte, 16>> initialVector;
  friend bool operator==(const SegmentKey&, const SegmentKey&) = default;
};

/// What a demuxer has to read before the segments that name it.
struct Initialization {
  Resource resource;
  std::shared_ptr<const SegmentKey> key;  ///< null: clear
};

/// A piece of a representation that is requested as a whole.
struct Segment {
  std::uint64_t number = 0;  ///< counts up within its representation
  /// HLS, low latency: the number of a part of the segment; none: all of it.
  std::optional<std::uint64_t> part;
  double start = 0;     ///< seconds on the time line of the presentation
  double duration = 0;  ///< seconds, as the manifest says
  Resource resource;
  std::shared_ptr<const Initialization> initialization;  ///< null: none is needed
  std::shared_ptr<const SegmentKey> key;                 ///< null: clear
  bool isGap = false;                                    ///< there is nothing to request
  /// The same for all segments whose time stamps continue each other.
  std::uint64_t discontinuity = 0;
  std::optional<platform::Date> date;  ///< civil time of its start
  /// Live: civil time from which a server has it.
  std::optional<platform::Date> availableFrom;

  double end() const { return start + duration; }
};

/// The segments of one representation, as a version of the manifest knows them. They may be
/// computed when asked for. Immutable; any thread.
class SegmentIndex {
 public:
  virtual ~SegmentIndex() = default;
  SegmentIndex() = default;
  SegmentIndex(const SegmentIndex&) = delete;
  SegmentIndex& operator=(const SegmentIndex&) = delete;

  /// The one that plays at `time`, or the next one after it. None after the last.
  virtual std::optional<Segment> at(double time) const = 0;
  /// The one that follows `previous`, which may be of an older version of this index, or of another
  /// representation of the same track. None while it is not known, and at the end.
  virtual std::optional<Segment> after(const Segment& previous) const = 0;
  /// What a server announces to be the one that follows `previous`. Its duration is an estimate.
  virtual std::optional<Segment> hinted(const Segment& /*previous*/) const { return std::nullopt; }
  /// What is known at civil time `now`; none when there is nothing.
  virtual std::optional<Segment> first(platform::Date now) const = 0;
  virtual std::optional<Segment> last(platform::Date now) const = 0;
  /// No segment will be added.
  virtual bool isComplete() const = 0;
};

/// A file with an index of its segments (SegmentBase of DASH, `sidx`).
struct IndexedFile {
  Resource file;                                         ///< without a span
  std::shared_ptr<const Initialization> initialization;  ///< null: the file has it before the index
  std::optional<ByteSpan> indexSpan;  ///< none: somewhere at its beginning, or there is none
  double periodStart = 0;
  std::optional<double> periodEnd;
  double timeOffset = 0;  ///< as Representation::timeOffset
};

}  // namespace streaming
