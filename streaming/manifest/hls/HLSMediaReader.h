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

/// Reads one media playlist, tag by tag.
class HLSMediaReader {
 public:
  HLSMediaReader(const ManifestOrigin& origin, const PlaylistContext& context);

  void addTag(std::string_view name, std::string_view value);
  void addURI(std::string_view reference);
  /// After the last line. Null: a delta update whose base is not known.
  std::shared_ptr<const MediaPlaylist> finish();

  /// A tag of a media playlist has come.
  bool isMedia() const { return _head.isMedia; }
  /// It has too many segments, or their URLs are too long together. No more is read then.
  bool isBeyondLimits() const { return _isBeyondLimits; }

 private:
  /// Where a byte range without an offset begins, in the resource of the one before it.
  struct RangeEnd {
    std::string url;
    std::uint64_t offset = 0;
  };

  /// What holds for the whole playlist.
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
  /// What holds for the segments that follow, or for the next one.
  struct Following {
    std::uint64_t discontinuity = 0;
    std::shared_ptr<const SegmentKey> key;
    bool keyHasSegments = true;  // the next KEY tag begins a new set
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
  std::optional<Segment> _hint;  // the part that comes next
  std::uint64_t _partCount = 0;  // of the segment that is being made
  double _partEnd = 0;           // of the newest part
  std::vector<DateMark> _dates;
  HLSDateRanges _dateRanges;
  std::uint64_t _discontinuityShift = 0;
  Following _following;
};

}  // namespace streaming
