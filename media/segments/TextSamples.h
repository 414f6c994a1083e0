#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"
#include "streaming/playback/TrackReader.h"

namespace media {

/// A sample of a text track in fragmented mp4.
struct TextSample {
  double start = 0;  ///< seconds as the media have them
  double duration = 0;
  std::string bytes;
};

/// All samples of a piece whose bytes are there.
std::vector<TextSample> textSamplesOf(const streaming::TrackPiece& piece);

/// The head of WebVTT (`vttC`) in an initialization; empty when there is none.
std::string headOfTextSamples(const streaming::SegmentBytes& initialization);

/// The cues in a sample of `wvtt` as WebVTTReader::readPiece() takes them: a line with the name,
/// one with the settings, then the text.
std::vector<std::string> textsOfBoxes(std::string_view sample);

/// Of a TTML document in a sample: what is shown within the sample's time. Times that have nothing
/// to do with the sample count from its beginning.
void fitToSample(std::vector<SubtitleCue>& cues, double begin, double end);

}  // namespace media
