#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "streaming/manifest/Presentation.h"
#include "streaming/playback/feeding/FeederHost.h"

namespace streaming {

/// Chooses the representation for the next segment of a track. Transfer thread only.
class RepresentationPicker {
 public:
  RepresentationPicker(FeederHost& host, MediaKind kind) : _host(host), _kind(kind) {}

  struct Situation {
    double ahead = 0;  ///< buffered seconds
    double target = 30;
    double segmentDuration = 4;
    double sinceStart = 0;
  };
  /// Null: no representation is left. `current` may be of another period, or null.
  std::shared_ptr<const Representation> pick(const Track& track,
                                             const std::shared_ptr<const Representation>& current,
                                             const Situation& situation) const;
  /// Excludes a representation that has failed, until clearExcluded().
  void exclude(const Representation& representation) { _excluded.insert(representation.id); }
  bool isExcluded(const Representation& representation) const {
    return _excluded.contains(representation.id);
  }
  void clearExcluded() { _excluded.clear(); }

 private:
  std::vector<std::shared_ptr<const Representation>> _candidates(const Track& track) const;

  FeederHost& _host;
  const MediaKind _kind;
  std::set<std::string, std::less<>> _excluded;
};

}  // namespace streaming
