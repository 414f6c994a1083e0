#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "streaming/manifest/dash/DASHSegmentIndex.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// Segment information of one level (period, adaptation set, representation), including inherited
/// values. Copies share large parts.
struct DASHSegmentInfo {
  enum class Addressing { None, File, Template, List };

  Addressing addressing = Addressing::None;
  SegmentTiming timing;
  std::string media;                  ///< of SegmentTemplate
  std::string initializationPattern;  ///< of SegmentTemplate
  std::optional<ListedSegment> initialization;
  std::shared_ptr<const std::vector<ListedSegment>> list;
  std::optional<ByteSpan> indexSpan;
  double baseAvailability = 0;     ///< availabilityTimeOffset of BaseURL
  double segmentAvailability = 0;  ///< availabilityTimeOffset of the segment element

  /// Reads the SegmentBase, SegmentTemplate or SegmentList of `level`. `periodDuration` is in
  /// seconds.
  void read(pugi::xml_node level, std::optional<double> periodDuration);
  void readBases(pugi::xml_node level);

 private:
  void _readCommon(pugi::xml_node node);
  void _readTimeline(pugi::xml_node node, std::optional<double> periodDuration);
};

/// The base URLs of a level: its BaseURL elements resolved against `inherited`, or `inherited` if
/// it has none.
std::vector<std::string> baseURLs(pugi::xml_node level, const std::vector<std::string>& inherited);

/// Parses `FIRST-LAST`.
std::optional<ByteSpan> dashByteRange(std::string_view text);

}  // namespace streaming
