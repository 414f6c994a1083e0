#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/manifest/HLSDateRanges.h"
#include "streaming/manifest/HLSLines.h"
#include "streaming/manifest/HLSSegmentIndex.h"
#include "streaming/manifest/ManifestReader.h"

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
  bool isMedia() const { return _isMedia; }
  /// It has too many segments, or their URLs are too long together. No more is read then.
  bool isBeyondLimits() const { return _isBeyondLimits; }

 private:
  /// Where a byte range without an offset begins, in the resource of the one before it.
  struct RangeEnd {
    std::string url;
    std::uint64_t offset = 0;
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
  bool _isMedia = false;
  bool _isEnded = false;
  bool _isOnDemand = false;
  bool _isEvent = false;
  bool _isKeyFramesOnly = false;
  bool _isDelta = false;  // it has EXT-X-SKIP
  bool _lacksBase = false;
  bool _isBeyondLimits = false;
  std::size_t _urlBytes = 0;
  double _targetDuration = 0;
  double _partTarget = 0;
  std::optional<double> _startOffset;
  std::optional<double> _holdBack;
  std::optional<double> _partHoldBack;
  bool _canBlock = false;
  bool _canSkip = false;
  std::uint64_t _mediaSequence = 0;
  double _end = 0;  // of the last segment
  std::vector<Segment> _segments;
  std::vector<Segment> _parts;
  std::optional<Segment> _hint;  // the part that comes next
  std::uint64_t _partCount = 0;  // of the segment that is being made
  double _partEnd = 0;           // of the newest part
  std::vector<DateMark> _dates;
  HLSDateRanges _dateRanges;
  std::uint64_t _discontinuityShift = 0;

  // For the segments that follow.
  std::uint64_t _discontinuity = 0;
  bool _countsDiscontinuities = false;
  std::shared_ptr<const SegmentKey> _key;
  bool _keyHasSegments = true;  // the next KEY tag begins a new set
  std::shared_ptr<const Initialization> _initialization;
  std::optional<double> _duration;
  std::string _byteRange;
  bool _isGap = false;
  bool _isDiscontinuous = false;
  std::optional<platform::Date> _date;
  RangeEnd _segmentRange;
  RangeEnd _partRange;
};

}  // namespace streaming
