#pragma once

#include <memory>
#include <optional>
#include <string>

#include "streaming/playback/TrackReader.h"
#include "streaming/playback/feeding/FeederHost.h"
#include "streaming/playback/feeding/RepresentationPicker.h"

namespace streaming {

/// Walks along the segments of one track: through its representations, periods and versions of the
/// manifest. Transfer thread only.
class TrackWalk {
 public:
  TrackWalk(FeederHost& host, MediaKind kind) : _host(host), _kind(kind), _picker(host, kind) {}

  struct Step {
    enum class Kind {
      Segment,
      Wait,  ///< for what is being loaded, or until `availableFrom`
      End,
      NoRepresentation,  ///< none is left that could be tried
    };
    Kind kind = Kind::Wait;
    Segment segment;
    std::shared_ptr<const Representation> representation;
    bool isDiscontinuous = false;
    std::optional<platform::Date> availableFrom;
  };
  /// The segment that follows `tail`, or without one that plays at `from`.
  Step next(const std::string& track, const std::optional<TrackPiece>& tail, double from);
  /// Wants the index of the representation to begin with. The result is of kind Segment, without a
  /// segment, when it is there.
  Step load(const std::string& track, double from);

  RepresentationPicker& picker() { return _picker; }
  const std::optional<platform::Error>& error() const { return _error; }
  /// What has failed is tried again.
  void forgive(const std::string& track, double from);

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

/// Seconds that are loaded ahead of what is played, at most.
inline constexpr double kSecondsAhead = 30;

}  // namespace streaming
