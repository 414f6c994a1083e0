#pragma once

#include <optional>
#include <vector>

#include "media/link/WireReader.h"
#include "media/link/WireWriter.h"
#include "media/output/SubtitleCues.h"

/// Encodes changes of SubtitleCues.
namespace media {

using TextChange = SubtitleCues::Change;

/// Splits a change into parts that fit into messages of a moderate size. Apply them in order.
std::vector<TextChange> splitChange(TextChange change);

/// Long identifiers and annotations are truncated. Images of a cue that exceed 16 MiB are left out.
void write(WireWriter& writer, const TextChange& change);

/// Decodes a change and limits each cue. Returns nullopt if any part of it is invalid.
std::optional<TextChange> readTextChange(WireReader& reader);

}  // namespace media
