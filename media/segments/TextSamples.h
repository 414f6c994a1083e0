#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "streaming/playback/TrackReader.h"

namespace media {

/// A sample of a text track in fragmented MP4.
struct TextSample {
  double start = 0;  ///< media time in seconds
  double duration = 0;
  std::string bytes;
};

/// Returns all samples of a complete piece.
std::vector<TextSample> textSamplesOf(const streaming::TrackPiece& piece);

/// Returns the WebVTT header (`vttC`) in an initialization segment, or an empty string.
std::string webVTTHeaderIn(const streaming::SegmentBytes& initialization);

/// Returns the cues in a `wvtt` sample in the format that WebVTTReader::readPayload() takes: a line
/// with the identifier, a line with the settings, then the text.
std::vector<std::string> webVTTCuesIn(std::string_view sample);

/// Clips the cues of a TTML document in a sample to the time range of the sample. If no cue is
/// within the range, the times are relative to its begin.
void clipToSample(std::vector<SubtitleCue>& cues, double begin, double end);

}  // namespace media
