#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/manifest/Segment.h"

namespace streaming {

/// A longer text is no part of a URL.
inline constexpr std::size_t kLongestURLText = 4096;

/// `$Number$`, `$Time$` and the like in a URL, with the representation's own values filled in.
class SegmentTemplate {
 public:
  SegmentTemplate(std::string_view pattern, std::string_view representationID,
                  std::uint64_t bandwidth);
  std::string filledIn(std::uint64_t number, std::uint64_t time, std::uint64_t subNumber) const;
  /// False: it is too long to be part of a URL.
  bool isUsable() const { return !_pieces.empty(); }

 private:
  struct Piece {
    std::string text;
    char value = 0;  // 'N', 'T', 'S', or 0: the text alone
    unsigned width = 0;
  };
  std::vector<Piece> _pieces;
};

/// What the segments of representations have in common, shared by them.
struct SegmentTiming {
  /// Segments of the same duration, one after the other. They may come in sequences, whose segments
  /// share a number.
  struct Run {
    std::uint64_t time = 0;
    std::uint64_t duration = 0;     ///< of a sequence
    std::uint64_t count = 0;        ///< of sequences
    std::uint64_t parts = 1;        ///< segments of a sequence
    std::uint64_t firstIndex = 0;   ///< of the run's first segment among all
    std::uint64_t firstNumber = 0;  ///< of its first sequence among all

    std::uint64_t segments() const { return count * parts; }
  };
  static constexpr std::uint64_t kOpen = std::uint64_t{1} << 40;  ///< of a run without an end

  double timescale = 1;                          ///< units a second
  std::uint64_t duration = 0;                    ///< units, of every segment; 0: there are runs
  std::shared_ptr<const std::vector<Run>> runs;  ///< in order; null where `duration` is set
  std::uint64_t timeOffset = 0;                  ///< presentationTimeOffset
  std::uint64_t firstNumber = 1;
  std::optional<std::uint64_t> lastNumber;
  double availabilityOffset = 0;  ///< seconds that a segment is there before its end
  bool isOpen = false;            ///< the last run goes on to the end of the period
};

/// One URL of a SegmentList.
struct ListedSegment {
  std::string reference;
  std::optional<ByteSpan> span;
};

/// Segments that are encrypted with the same key.
struct SegmentKeyPeriod {
  std::uint64_t firstIndex = 0;        ///< of the segments of the period
  std::optional<std::uint64_t> count;  ///< none: to the next one; those behind `count` are clear
  std::shared_ptr<const SegmentKey> key;
};

/// The segments of one representation of DASH, computed when they are asked for.
class DASHSegmentIndex final : public SegmentIndex {
 public:
  struct Setup {
    std::shared_ptr<const SegmentTiming> timing;
    double periodStart = 0;
    std::optional<double> periodEnd;
    /// Live: civil time of the presentation's beginning, and how long segments are kept.
    std::optional<platform::Date> availabilityStart;
    std::optional<double> timeShiftDepth;
    std::vector<std::string> bases;                ///< absolute URLs
    std::shared_ptr<const std::string> queryFrom;  ///< a URL whose query is passed on, or null
    std::optional<SegmentTemplate> media;          // of a template
    std::shared_ptr<const std::vector<ListedSegment>> list;  // of a list
    std::shared_ptr<const Initialization> initialization;
    /// In order; null: the segments are clear.
    std::shared_ptr<const std::vector<SegmentKeyPeriod>> keys;
    std::uint64_t discontinuity = 0;  ///< of the period
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
    std::uint64_t time = 0;  // of the sequence, in the media, units
    std::uint64_t number = 0;
    std::uint64_t subNumber = 1;
    double start = 0;  // seconds
    double duration = 0;
  };
  /// Segments are told that may not be there yet.
  bool _isOpen() const;
  Times _timesOf(std::uint64_t index) const;
  std::shared_ptr<const SegmentKey> _keyOf(std::uint64_t index) const;
  /// The first one with a larger number than `number`.
  std::uint64_t _indexBehind(std::uint64_t number) const;
  /// The first one that ends after `time`; may be `_count`.
  std::uint64_t _indexAt(double time) const;
  std::optional<Segment> _segment(std::uint64_t index) const;

  const Setup _setup;
  std::uint64_t _count = 0;
};

/// `bases` and `reference` as absolute URLs, at most a few. They get the query of `queryFrom`,
/// where that is not null.
std::vector<std::string> resolvedURLs(const std::vector<std::string>& bases,
                                      std::string_view reference, const std::string* queryFrom);

}  // namespace streaming
