#include "streaming/playback/TrackLookup.h"

#include <algorithm>
#include <utility>

namespace streaming {
namespace {

constexpr double kPeriodTolerance = 1e-3;

int similarity(const Track& track, const Track& like) {
  int points = 0;
  if (track.language == like.language) points += 4;
  if (track.characteristics == like.characteristics) points += 2;
  if (track.isForced == like.isForced) points += 2;
  if (track.isDefault) ++points;
  return points;
}

}  // namespace

const Period* periodAt(const Presentation& presentation, double seconds) {
  const Period* found = nullptr;
  for (const Period& period : presentation.periods) {
    if (found && period.start > seconds + kPeriodTolerance) break;
    found = &period;
  }
  return found;
}

const Period* periodNamed(const Presentation& presentation, const std::string& id, double seconds) {
  for (const Period& period : presentation.periods)
    if (period.id == id) return &period;
  return periodAt(presentation, seconds);
}

const Period* periodAfter(const Presentation& presentation, const Period& period) {
  const auto index = static_cast<std::size_t>(&period - presentation.periods.data());
  return index + 1 < presentation.periods.size() ? &presentation.periods[index + 1] : nullptr;
}

std::optional<double> endOf(const Presentation& presentation, const Period& period) {
  if (period.duration) return period.start + *period.duration;
  if (const Period* next = periodAfter(presentation, period)) return next->start;
  return presentation.duration;
}

const Track* trackNamed(const Period& period, MediaKind kind, const std::string& id) {
  for (const Track& track : period.tracks)
    if (track.kind == kind && track.id == id) return &track;
  return nullptr;
}

const Track* similarTrack(const Period& period, MediaKind kind, const std::string& id,
                          const Track* like) {
  if (const Track* same = trackNamed(period, kind, id)) return same;
  // A text in another language is no replacement.
  const Track* best = nullptr;
  for (const Track& track : period.tracks) {
    if (track.kind != kind || hasOnlyKeyFrames(track)) continue;
    if (kind == MediaKind::Text && (!like || track.language != like->language)) continue;
    if (!best || (like && similarity(track, *like) > similarity(*best, *like))) best = &track;
  }
  return best;
}

bool hasOnlyKeyFrames(const Track& track) {
  return !track.representations.empty() &&
         std::all_of(track.representations.begin(), track.representations.end(),
                     [](const auto& each) { return each->isKeyFramesOnly; });
}

std::vector<Track> decodableTracks(const Period& period, const CanDecode& canDecode) {
  std::vector<Track> tracks;
  for (const Track& track : period.tracks) {
    if (hasOnlyKeyFrames(track)) continue;
    Track copy = track;
    std::erase_if(copy.representations, [&](const auto& each) {
      return each->isKeyFramesOnly || (canDecode && !canDecode(track.kind, *each));
    });
    const bool hasOwn = !track.representations.empty();
    if (!hasOwn || !copy.representations.empty()) tracks.push_back(std::move(copy));
  }
  return tracks;
}

void eraseAbsentTracks(std::vector<Track>& tracks,
                       const std::map<std::string, ContainedStreams, std::less<>>& contents) {
  // The representations of a track contain the same kinds of streams.
  struct Evidence {
    bool isFound = false;
    bool isMissed = false;
    void add(bool has) { (has ? isFound : isMissed) = true; }
    bool isAbsent() const { return isMissed && !isFound; }
  };
  Evidence sound;
  std::erase_if(tracks, [&](const Track& track) {
    Evidence picture;
    if (track.kind != MediaKind::Video) return false;
    for (const auto& each : track.representations) {
      const auto known = contents.find(each->id);
      const bool isKnown = known != contents.end();
      const bool isSaid = !each->codecs.empty();
      if (isKnown || isSaid || each->height > 0)
        picture.add(isSaid || each->height > 0 || known->second.hasVideo);
      if (each->includesAudio && (isKnown || isSaid)) sound.add(isSaid || known->second.hasAudio);
    }
    return picture.isAbsent();
  });
  std::erase_if(tracks,
                [&](const Track& track) { return track.isMuxedIntoVideo && sound.isAbsent(); });
}

TrackSelection defaultSelection(const std::vector<Track>& tracks) {
  TrackSelection selection;
  bool hasDefaultAudio = false;
  for (const Track& track : tracks) {
    if (track.kind == MediaKind::Video && selection.video.empty()) selection.video = track.id;
    if (track.kind != MediaKind::Audio) continue;
    if (selection.audio.empty() || (track.isDefault && !hasDefaultAudio)) {
      selection.audio = track.id;
      hasDefaultAudio = track.isDefault;
    }
  }
  return selection;
}

}  // namespace streaming
