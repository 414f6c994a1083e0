#pragma once

#include <vector>

#include "streaming/manifest/Segment.h"

namespace streaming {

/// The segments of a media playlist, whose numbers are its media sequence numbers.
class HLSSegmentIndex final : public SegmentIndex {
 public:
  /// `segments` have consecutive numbers; `parts` are those that the playlist names, by number and
  /// part.
  HLSSegmentIndex(std::vector<Segment> segments, std::vector<Segment> parts, bool isComplete);

  std::optional<Segment> at(double time) const override;
  std::optional<Segment> after(const Segment& previous) const override;
  std::optional<Segment> first(platform::Date now) const override;
  std::optional<Segment> last(platform::Date now) const override;
  bool isComplete() const override { return _isComplete; }

  const std::vector<Segment>& segments() const { return _segments; }
  const Segment* numbered(std::uint64_t number) const;

 private:
  std::optional<Segment> _edgePart(std::uint64_t number, std::uint64_t part) const;

  const std::vector<Segment> _segments;
  const std::vector<Segment> _parts;
  const bool _isComplete;
};

}  // namespace streaming
