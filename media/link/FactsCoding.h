#pragma once

#include "media/link/WireReader.h"
#include "media/link/WireWriter.h"
#include "platform/media/MediaFacts.h"

namespace media {

/// Facts in two parts: what changes while the media play (ranges, buffer, dates), and what hardly
/// ever changes and may be large (tracks, options, metadata, chapters, title).
void putFlow(WireWriter& writer, const platform::MediaFacts& facts);
void putContents(WireWriter& writer, const platform::MediaFacts& facts);
/// Lists are bounded; times are finite.
void takeFlow(WireReader& reader, platform::MediaFacts& facts);
void takeContents(WireReader& reader, platform::MediaFacts& facts);

bool haveEqualFlow(const platform::MediaFacts& a, const platform::MediaFacts& b);
bool haveEqualContents(const platform::MediaFacts& a, const platform::MediaFacts& b);

}  // namespace media
