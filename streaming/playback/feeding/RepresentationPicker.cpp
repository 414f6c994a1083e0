#include "streaming/playback/feeding/RepresentationPicker.h"

#include <algorithm>

#include "streaming/choice/RepresentationChoice.h"

namespace streaming {
namespace {

/// The share of the throughput for audio that is not the leading track.
constexpr double kAudioShare = 0.2;
/// The audio bit rate before the first measurement.
constexpr double kDefaultAudioBandwidth = 192e3;

using Candidates = std::vector<std::shared_ptr<const Representation>>;

double usualBandwidth(const Representation& representation) {
  return representation.averageBandwidth > 0 ? representation.averageBandwidth
                                             : representation.bandwidth;
}

std::optional<std::size_t> placeOf(const Candidates& candidates, const std::string& id) {
  for (std::size_t i = 0; i < candidates.size(); ++i)
    if (candidates[i]->id == id) return i;
  return std::nullopt;
}

/// The codec without its profile, such as "avc1" of "avc1.64001f". Empty: unknown.
std::string familyOf(const Representation& representation) {
  if (representation.codecs.empty()) return {};
  const std::string& codec = representation.codecs.front();
  return codec.substr(0, codec.find('.'));
}

}  // namespace

Candidates RepresentationPicker::_candidates(const Track& track) const {
  Candidates candidates;
  for (const auto& each : track.representations) {
    if (each->isKeyFramesOnly || _excluded.contains(each->id)) continue;
    if (_host.canDecode() && !_host.canDecode()(_kind, *each)) continue;
    candidates.push_back(each);
  }
  return candidates;
}

std::shared_ptr<const Representation> RepresentationPicker::pick(
    const Track& track, const std::shared_ptr<const Representation>& current,
    const Situation& situation) const {
  Candidates candidates = _candidates(track);
  if (candidates.empty()) return nullptr;
  if (_kind == MediaKind::Text) return candidates.front();

  if (current && !familyOf(*current).empty()) {
    const std::string family = familyOf(*current);
    Candidates same;
    for (const auto& each : candidates)
      if (familyOf(*each) == family) same.push_back(each);
    if (!same.empty()) candidates = std::move(same);
  }
  if (_kind == MediaKind::Audio) {
    const std::string group = _host.audioGroup();
    Candidates same;
    for (const auto& each : candidates)
      if (!group.empty() && each->group == group) same.push_back(each);
    if (!same.empty()) candidates = std::move(same);
    if (!_host.isLeading(_kind)) {
      if (current && placeOf(candidates, current->id))
        return candidates[*placeOf(candidates, current->id)];
      const auto throughput = _host.throughput().estimate();
      const double most = throughput ? kAudioShare * *throughput : kDefaultAudioBandwidth;
      std::size_t chosen = 0;
      for (std::size_t i = 0; i < candidates.size(); ++i)
        if (usualBandwidth(*candidates[i]) <= most) chosen = i;
      return candidates[chosen];
    }
  }
  ChoiceInput input;
  for (const auto& each : candidates)
    input.options.push_back({usualBandwidth(*each), each->height, each->frameRate});
  if (current) input.current = placeOf(candidates, current->id);
  input.throughput = _host.throughput().estimate();
  input.recent = _host.throughput().recent();
  input.deviation = _host.throughput().deviation();
  input.otherBandwidth = _host.otherBandwidth(_kind);
  input.ahead = situation.ahead;
  input.target = situation.target;
  input.segmentDuration = situation.segmentDuration;
  input.sinceStart = situation.sinceStart;
  input.displayHeight = _host.limits().displayHeight;
  input.decodableHeight = _host.limits().decodableHeight;
  return candidates[chooseRepresentation(input)];
}

}  // namespace streaming
