#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// "start+duration text | look of the cue | [span: look] | layout". Default values are left out.
std::string described(const SubtitleCue& cue);
/// The cues, separated by semicolons.
std::string described(const std::optional<std::vector<SubtitleCue>>& cues);

}  // namespace media
