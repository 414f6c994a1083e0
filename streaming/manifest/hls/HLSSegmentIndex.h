#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "streaming/manifest/Segment.h"

namespace streaming {

/// The segments of a media playlist. Segment numbers are media sequence numbers.
class HLSSegmentIndex final : public SegmentIndex {
 public:
  /// `segments` have consecutive numbers. `parts` are sorted by number and part. `hint` is the
  /// preload hint. `discontinuityShift` is the offset between discontinuity sequence numbers of the
  /// playlist and those of the segments.
  HLSSegmentIndex(std::vector<Segment> segments, std::vector<Segment> parts,
                  std::optional<Segment> hint, bool isComplete, std::uint64_t discontinuityShift);

  std::optional<Segment> at(double time) const override;
  std::optional<Segment> after(const Segment& previous) const override;
  std::optional<Segment> preloadHintAfter(const Segment& previous) const override;
  std::optional<Segment> first(platform::Date now) const override;
  std::optional<Segment> last(platform::Date now) const override;
  bool isComplete() const override { return _isComplete; }

  const std::vector<Segment>& segments() const { return _segments; }
  const Segment* numbered(std::uint64_t number) const;
  std::uint64_t discontinuityShift() const { return _discontinuityShift; }

 private:
  /// The part if it starts where `previous` ends.
  std::optional<Segment> _part(std::uint64_t number, std::uint64_t part,
                               const Segment& previous) const;
  /// `number` is that of the next segment, which is not listed yet.
  bool _isNext(std::uint64_t number) const;
  std::optional<Segment> _byTime(double time) const;

  const std::vector<Segment> _segments;
  const std::vector<Segment> _parts;
  const std::optional<Segment> _hint;
  const bool _isComplete;
  const std::uint64_t _discontinuityShift;
};

}  // namespace streaming
