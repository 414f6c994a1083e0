#pragma once

#include <memory>
#include <optional>
#include <string>

#include "streaming/playback/TrackReader.h"
#include "streaming/playback/feeding/FeederHost.h"
#include "streaming/playback/feeding/RepresentationPicker.h"

namespace streaming {

/// Finds the next segment of a track, across representations, periods and manifest versions.
/// Transfer thread only.
class SegmentFinder {
 public:
  SegmentFinder(FeederHost& host, MediaKind kind) : _host(host), _kind(kind), _picker(host, kind) {}

  struct Step {
    enum class Kind {
      Segment,
      Wait,  ///< for an index, a newer manifest, or `availableFrom`
      End,
      NoRepresentation,  ///< all representations have failed
    };
    Kind kind = Kind::Wait;
    Segment segment;
    std::shared_ptr<const Representation> representation;
    bool isDiscontinuous = false;
    std::optional<platform::Date> availableFrom;
  };
  /// The segment after `tail`, or the one at `from` without `tail`.
  Step next(const std::string& track, const std::optional<TrackPiece>& tail, double from);
  /// Requests the index of the initial representation. Returns kind Segment, without a segment, if
  /// the index is loaded.
  Step load(const std::string& track, double from);

  RepresentationPicker& picker() { return _picker; }
  const std::optional<platform::Error>& error() const { return _error; }
  /// Allows retries of failed representations.
  void clearFailures(const std::string& track, double from);

 private:
  struct Source {
    Step::Kind kind = Step::Kind::Wait;
    std::shared_ptr<const Representation> representation;
    std::shared_ptr<const SegmentIndex> index;
  };
  Source _source(const Track& track, const std::shared_ptr<const Representation>& current,
                 double from);
  Step _segmentIn(const Source& source, const std::optional<TrackPiece>& tail, double from) const;
  const Period* _periodOf(const Presentation& presentation, const TrackPiece& piece) const;

  FeederHost& _host;
  const MediaKind _kind;
  RepresentationPicker _picker;
  std::optional<platform::Error> _error;
};

inline constexpr double kMaxBufferSeconds = 30;

}  // namespace streaming
