#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/hls/HLSDateRanges.h"
#include "streaming/manifest/hls/HLSLines.h"
#include "streaming/manifest/hls/HLSSegmentIndex.h"

namespace streaming {

/// Parses a media playlist, tag by tag.
class HLSMediaReader {
 public:
  HLSMediaReader(const ManifestOrigin& origin, const PlaylistContext& context);

  void addTag(std::string_view name, std::string_view value);
  void addURI(std::string_view reference);
  /// Call after the last line. Null: the base of a delta update is missing.
  std::shared_ptr<const MediaPlaylist> finish();

  bool isMedia() const { return _head.isMedia; }
  /// The playlist has too many segments, or the total length of its URLs is too large. Parsing
  /// stops.
  bool isBeyondLimits() const { return _isBeyondLimits; }

 private:
  /// The default offset of the next byte range in the same resource.
  struct RangeEnd {
    std::string url;
    std::uint64_t offset = 0;
  };

  struct Head {
    bool isMedia = false;
    bool isEnded = false;
    bool isOnDemand = false;
    bool isEvent = false;
    bool isKeyFramesOnly = false;
    bool countsDiscontinuities = false;
    bool canBlock = false;
    bool canSkip = false;
    double targetDuration = 0;
    double partTarget = 0;
    std::optional<double> startOffset;
    std::optional<double> holdBack;
    std::optional<double> partHoldBack;
    std::uint64_t mediaSequence = 0;
  };
  /// State that applies to the next segment or to all following segments.
  struct SegmentState {
    std::uint64_t discontinuity = 0;
    std::shared_ptr<const SegmentKey> key;
    bool keyHasSegments = true;  // the next EXT-X-KEY starts a new set of keys
    std::shared_ptr<const Initialization> initialization;
    std::optional<double> duration;
    std::string byteRange;
    bool isGap = false;
    bool isDiscontinuous = false;
    std::optional<platform::Date> date;
    RangeEnd segmentRange;
    RangeEnd partRange;
  };

  void _addKey(const HLSAttributes& attributes);
  void _addMap(const HLSAttributes& attributes);
  void _addPart(const HLSAttributes& attributes);
  void _addHint(const HLSAttributes& attributes);
  void _addServerControl(const HLSAttributes& attributes);
  void _skip(const HLSAttributes& attributes);
  void _noteDate();
  void _noteSkippedDate(const Segment& known, double position);
  void _addURLs(Segment& segment, std::optional<std::string> url, std::string_view range,
                RangeEnd& end);
  Segment _nextSegment() const;
  std::optional<std::string> _resolved(std::string_view reference);
  void _align(MediaPlaylist& playlist);
  ReloadRule _reloadRule() const;

  const ManifestOrigin& _origin;
  const PlaylistContext& _context;
  Head _head;
  bool _isDelta = false;  // it has EXT-X-SKIP
  bool _lacksBase = false;
  bool _isBeyondLimits = false;
  std::size_t _urlBytes = 0;
  double _end = 0;  // of the last segment
  std::vector<Segment> _segments;
  std::vector<Segment> _parts;
  std::optional<Segment> _hint;  // EXT-X-PRELOAD-HINT
  std::uint64_t _partCount = 0;  // parts of the current segment
  double _partEnd = 0;           // of the last part
  std::vector<DateMark> _dates;
  HLSDateRanges _dateRanges;
  std::uint64_t _discontinuityShift = 0;
  SegmentState _state;
};

}  // namespace streaming
