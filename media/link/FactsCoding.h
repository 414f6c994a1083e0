#pragma once

#include "media/link/WireReader.h"
#include "media/link/WireWriter.h"
#include "platform/media/MediaFacts.h"

namespace media {

/// Facts are sent in two parts: playback facts (ranges, buffer, dates) change while media play;
/// content facts (tracks, options, metadata, chapters, title) rarely change and may be large.
void putPlaybackFacts(WireWriter& writer, const platform::MediaFacts& facts);
void putContentFacts(WireWriter& writer, const platform::MediaFacts& facts);
/// Decoding limits the lengths of lists and requires finite times.
void takePlaybackFacts(WireReader& reader, platform::MediaFacts& facts);
void takeContentFacts(WireReader& reader, platform::MediaFacts& facts);

bool haveEqualPlaybackFacts(const platform::MediaFacts& a, const platform::MediaFacts& b);
bool haveEqualContentFacts(const platform::MediaFacts& a, const platform::MediaFacts& b);

}  // namespace media
