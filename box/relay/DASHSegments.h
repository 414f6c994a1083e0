#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "box/relay/DASHReader.h"
#include "box/relay/SegmentRule.h"

namespace box {

/// Reads off a manifest which segments there are, of the picture, or else of what there is.
///
/// Bounds: 100 000 runs of segments of all representations together, and so many bytes of URLs as
/// of an HLS playlist; what goes beyond is not told.
class DASHSegments final : public DASHReader {
 public:
  /// The absolute URL of a reference, empty for what names nothing.
  using Resolve = std::function<std::string(const std::string& base, const std::string& reference)>;
  explicit DASHSegments(Resolve resolve) : _resolve(std::move(resolve)) {}

  void begin(std::string_view name, const XMLAttributes& attributes) override;
  void end(std::string_view name, const std::string& base) override;

  std::vector<SegmentRule> rules() const;

 private:
  using Runs = std::vector<SegmentRule::Run>;
  /// What an element says of segments, and its children inherit.
  struct Level {
    std::string name;
    std::string type;  // "video"
    std::string identifier;
    std::string bandwidth;
    std::string media;  // a template
    bool isList = false;
    std::vector<std::string> references;  // of a list
    std::uint64_t firstNumber = 1;
    double timescale = 1;
    std::uint64_t timeOffset = 0;
    std::uint64_t duration = 0;
    std::shared_ptr<Runs> runs;
  };
  void _beginPeriod(const XMLAttributes& attributes);
  void _noteSegments(std::string_view name, const XMLAttributes& attributes);
  void _addRun(const XMLAttributes& attributes);
  void _finishRepresentation(const Level& level, const std::string& base);
  bool _fillIn(const Level& level, SegmentRule& rule, const std::string& base) const;
  bool _takeRoom(std::size_t count);

  const Resolve _resolve;
  std::vector<Level> _levels;
  double _periodStart = 0;
  std::optional<double> _periodDuration;
  double _wholeDuration = 0;
  std::size_t _runs = 0;
  std::size_t _urlBytes = 0;
  struct Found {
    std::string type;
    SegmentRule rule;
  };
  std::vector<Found> _found;
};

}  // namespace box
