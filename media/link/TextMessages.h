#pragma once

#include <optional>
#include <vector>

#include "media/link/WireReader.h"
#include "media/link/WireWriter.h"
#include "media/output/SubtitleCues.h"

/// What changes in the texts of a media process, as a part of its messages.
namespace media {

using TextChange = SubtitleCues::Change;

/// The same change in parts, each of which makes a message of a moderate size. Apply them in order.
std::vector<TextChange> partsOf(TextChange change);

/// Names and annotations that nobody needs in that length are cut, and images of a cue that take
/// more than 16 MiB left out.
void write(WireWriter& writer, const TextChange& change);

/// Every cue is bounded. Nothing when anything in it is wrong.
std::optional<TextChange> readTextChange(WireReader& reader);

}  // namespace media
