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

// Where tracks are found in a presentation. Pointers are into the presentation.

/// The one that plays at `seconds`, or the nearest.
const Period* periodAt(const Presentation& presentation, double seconds);
/// By its identifier; when an update no longer has it, by its time.
const Period* periodNamed(const Presentation& presentation, const std::string& id, double seconds);
/// The one that follows. `period` is one of `presentation`.
const Period* periodAfter(const Presentation& presentation, const Period& period);
/// None: it is the last one, and its end is not known.
std::optional<double> endOf(const Presentation& presentation, const Period& period);

const Track* trackNamed(const Period& period, MediaKind kind, const std::string& id);
/// In a period that does not have the track `id`: the one that comes closest to `like`.
const Track* trackLike(const Period& period, MediaKind kind, const std::string& id,
                       const Track* like);

/// Without representations and tracks that the box cannot decode.
std::vector<Track> decodableTracks(const Period& period, const CanDecode& canDecode);
/// Erases the tracks that the media do not hold, whatever the manifest offers. `contents`: what is
/// known of representations, by their identifiers.
void eraseAbsentTracks(std::vector<Track>& tracks,
                       const std::map<std::string, PieceContent, std::less<>>& contents);
/// The picture, the default sound, and no text.
TrackSelection defaultSelection(const std::vector<Track>& tracks);
/// Whether it is for scanning alone.
bool isForScanning(const Track& track);

}  // namespace streaming
