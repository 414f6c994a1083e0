#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "streaming/manifest/dash/DASHSegmentIndex.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// What a level of a manifest (period, adaptation set, representation) says of segments, with what
/// it inherits. Copies share what is large.
struct DASHSegmentInfo {
  enum class Form { None, File, Template, List };

  Form form = Form::None;
  SegmentTiming timing;
  std::string media;                  ///< of a template
  std::string initializationPattern;  ///< of a template
  std::optional<ListedSegment> initialization;
  std::shared_ptr<const std::vector<ListedSegment>> list;
  std::optional<ByteSpan> indexSpan;
  double baseAvailability = 0;     ///< availabilityTimeOffset of base URLs
  double segmentAvailability = 0;  ///< and that of segments

  /// Reads the SegmentBase, SegmentTemplate or SegmentList of `level`. `periodEnd`: seconds from
  /// the start of the period.
  void read(pugi::xml_node level, std::optional<double> periodDuration);
  /// Reads only what its BaseURL elements say of segments.
  void readBases(pugi::xml_node level);

 private:
  void _readCommon(pugi::xml_node node);
  void _readTimeline(pugi::xml_node node, std::optional<double> periodDuration);
};

/// The base URLs of a level: those of its BaseURL elements, resolved against `inherited`; without
/// any, `inherited`.
std::vector<std::string> baseURLs(pugi::xml_node level, const std::vector<std::string>& inherited);

/// `FIRST-LAST`, of bytes.
std::optional<ByteSpan> dashByteRange(std::string_view text);

}  // namespace streaming
