#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "box/relay/MediaTimeline.h"

namespace box {

/// Reads the time line off a media playlist's lines, as a listener at the rewriter's side.
class HLSTimeline {
 public:
  /// `value`: what comes after the colon of the tag.
  void addTag(std::string_view name, std::string_view value);
  void addSegment(std::string url);

  /// Null for a master playlist.
  std::shared_ptr<const MediaTimeline> timeline(const MediaTimeline* previous,
                                                const MediaTimeline* other) const;

 private:
  void _addByteRange(std::string_view value, MediaTimeline::Segment& segment);
  void _addDateRange(std::string_view value);
  void _makeRoom();
  /// Makes positions count as those of `known`, of the same playlist or of one beside it.
  static void _follow(const MediaTimeline& known, bool isPrevious, MediaTimeline& result);

  bool _media = false;
  bool _ended = false;
  bool _onDemand = false;
  MediaTimeline _timeline;  // positions count from its own first segment
  double _end = 0;
  std::size_t _urlBytes = 0;
  struct DateRange {
    platform::Date start;
    platform::TimedMetadataItem item;
  };
  std::vector<DateRange> _dateRanges;
  std::size_t _dateRangeBytes = 0;

  // Of the segment that comes next.
  double _duration = 0;
  std::string _byteRange;
  bool _discontinuity = false;
  std::optional<platform::Date> _date;
};

}  // namespace box
