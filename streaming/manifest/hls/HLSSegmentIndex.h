#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "streaming/manifest/Segment.h"

namespace streaming {

/// The segments of a media playlist, whose numbers are its media sequence numbers.
class HLSSegmentIndex final : public SegmentIndex {
 public:
  /// `segments` have consecutive numbers; `parts` are those that the playlist names, by number and
  /// part, and `hint` the one that it announces. `discontinuityShift`: what was added to the
  /// discontinuities that the playlist counts.
  HLSSegmentIndex(std::vector<Segment> segments, std::vector<Segment> parts,
                  std::optional<Segment> hint, bool isComplete, std::uint64_t discontinuityShift);

  std::optional<Segment> at(double time) const override;
  std::optional<Segment> after(const Segment& previous) const override;
  std::optional<Segment> hinted(const Segment& previous) const override;
  std::optional<Segment> first(platform::Date now) const override;
  std::optional<Segment> last(platform::Date now) const override;
  bool isComplete() const override { return _isComplete; }

  const std::vector<Segment>& segments() const { return _segments; }
  const Segment* numbered(std::uint64_t number) const;
  std::uint64_t discontinuityShift() const { return _discontinuityShift; }

 private:
  /// A part that begins where `previous` ends.
  std::optional<Segment> _part(std::uint64_t number, std::uint64_t part,
                               const Segment& previous) const;
  /// No segment has this number yet, and the next one will.
  bool _isNext(std::uint64_t number) const;
  std::optional<Segment> _byTime(double time) const;

  const std::vector<Segment> _segments;
  const std::vector<Segment> _parts;
  const std::optional<Segment> _hint;
  const bool _isComplete;
  const std::uint64_t _discontinuityShift;
};

}  // namespace streaming
