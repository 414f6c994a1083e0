#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "streaming/manifest/Presentation.h"
#include "streaming/playback/PresentationPlayback.h"
#include "streaming/playback/TrackReader.h"

namespace streaming {

// Finds periods and tracks. The returned pointers refer to the arguments.

/// The period at `seconds`, or the nearest one. Null if there are no periods.
const Period* periodAt(const Presentation& presentation, double seconds);
/// The period with `id`. If an update has removed it, the period at `seconds`.
const Period* periodNamed(const Presentation& presentation, const std::string& id, double seconds);
/// The next period. `period` must be an element of `presentation`.
const Period* periodAfter(const Presentation& presentation, const Period& period);
/// nullopt: the end of the last period is not known.
std::optional<double> endOf(const Presentation& presentation, const Period& period);

const Track* trackNamed(const Period& period, MediaKind kind, const std::string& id);
/// The track `id`, or the one most similar to `like` if the period does not have it.
const Track* similarTrack(const Period& period, MediaKind kind, const std::string& id,
                          const Track* like);

/// The tracks without representations that the box cannot decode.
std::vector<Track> decodableTracks(const Period& period, const CanDecode& canDecode);
/// Erases tracks that are not in the media. `contents`: streams found by demuxers, by
/// Representation::id.
void eraseAbsentTracks(std::vector<Track>& tracks,
                       const std::map<std::string, ContainedStreams, std::less<>>& contents);
/// The video, the default audio and no text.
TrackSelection defaultSelection(const std::vector<Track>& tracks);
/// All representations contain key frames only.
bool hasOnlyKeyFrames(const Track& track);

}  // namespace streaming
