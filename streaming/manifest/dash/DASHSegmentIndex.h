#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/manifest/Segment.h"

namespace streaming {

/// Longer URLs and URL templates are rejected.
inline constexpr std::size_t kMaxURLLength = 4096;

/// A URL template with `$Number$`, `$Time$` and other identifiers. Those of the representation are
/// substituted by the constructor.
class SegmentTemplate {
 public:
  SegmentTemplate(std::string_view pattern, std::string_view representationID,
                  std::uint64_t bandwidth);
  std::string expanded(std::uint64_t number, std::uint64_t time, std::uint64_t subNumber) const;
  /// False: the template is too long.
  bool isUsable() const { return !_pieces.empty(); }

 private:
  struct Piece {
    std::string text;
    char value = 0;  // 'N', 'T', 'S', or 0: literal text only
    unsigned width = 0;
  };
  std::vector<Piece> _pieces;
};

/// Timing that representations share.
struct SegmentTiming {
  /// Consecutive segments of equal duration (an `S` element). With `k` they form sequences
  /// whose segments share a number.
  struct Run {
    std::uint64_t time = 0;
    std::uint64_t duration = 0;     ///< of one sequence
    std::uint64_t count = 0;        ///< number of sequences
    std::uint64_t parts = 1;        ///< segments per sequence
    std::uint64_t firstIndex = 0;   ///< index of the first segment of the run
    std::uint64_t firstNumber = 0;  ///< index of the first sequence of the run

    std::uint64_t segments() const { return count * parts; }
  };
  static constexpr std::uint64_t kUnbounded = std::uint64_t{1}
                                              << 40;  ///< count of an open-ended run

  double timescale = 1;                          ///< units per second
  std::uint64_t duration = 0;                    ///< units per segment; 0: `runs` is used
  std::shared_ptr<const std::vector<Run>> runs;  ///< sorted; null if `duration` is used
  std::uint64_t timeOffset = 0;                  ///< presentationTimeOffset
  std::uint64_t firstNumber = 1;
  std::optional<std::uint64_t> lastNumber;
  double availabilityOffset = 0;  ///< availabilityTimeOffset in seconds
  bool isOpen = false;            ///< the last run repeats until the end of the period
};

struct ListedSegment {
  std::string reference;
  std::optional<ByteSpan> span;
};

struct SegmentKeyPeriod {
  std::uint64_t firstIndex = 0;  ///< index within the period
  std::optional<std::uint64_t>
      count;  ///< nullopt: until the next range; segments after `count` are not encrypted
  std::shared_ptr<const SegmentKey> key;
};

/// The segments of a DASH representation. They are computed on demand.
class DASHSegmentIndex final : public SegmentIndex {
 public:
  struct Setup {
    std::shared_ptr<const SegmentTiming> timing;
    double periodStart = 0;
    std::optional<double> periodEnd;
    /// Live: the civil time of position 0, and timeShiftBufferDepth in seconds.
    std::optional<platform::Date> availabilityStart;
    std::optional<double> timeShiftDepth;
    std::vector<std::string> bases;                ///< absolute URLs
    std::shared_ptr<const std::string> queryFrom;  ///< a URL whose query is inherited, or null
    std::optional<SegmentTemplate> media;          // SegmentTemplate
    std::shared_ptr<const std::vector<ListedSegment>> list;  // SegmentList
    std::shared_ptr<const Initialization> initialization;
    /// Sorted; null: not encrypted.
    std::shared_ptr<const std::vector<SegmentKeyPeriod>> keys;
    std::uint64_t discontinuity = 0;  ///< of all segments of the period
    bool isComplete = true;
  };
  explicit DASHSegmentIndex(Setup setup);

  std::optional<Segment> at(double time) const override;
  std::optional<Segment> after(const Segment& previous) const override;
  std::optional<Segment> first(platform::Date now) const override;
  std::optional<Segment> last(platform::Date now) const override;
  bool isComplete() const override { return _setup.isComplete; }

 private:
  struct Times {
    std::uint64_t time = 0;  // of the sequence, in media time units
    std::uint64_t number = 0;
    std::uint64_t subNumber = 1;
    double start = 0;  // seconds
    double duration = 0;
  };
  /// The index contains segments that may not be available yet.
  bool _isOpen() const;
  Times _timesOf(std::uint64_t index) const;
  std::shared_ptr<const SegmentKey> _keyOf(std::uint64_t index) const;
  /// The first index whose number is greater than `number`.
  std::uint64_t _indexAfter(std::uint64_t number) const;
  /// The first index that ends after `time`; at most `_count`.
  std::uint64_t _indexAt(double time) const;
  std::optional<Segment> _segment(std::uint64_t index) const;

  const Setup _setup;
  std::uint64_t _count = 0;
};

/// Resolves `reference` against each base URL, up to a limit. The query of `queryFrom`, if not
/// null, is inherited.
std::vector<std::string> resolvedURLs(const std::vector<std::string>& bases,
                                      std::string_view reference, const std::string* queryFrom);

}  // namespace streaming
