#pragma once

#include "media/link/WireReader.h"
#include "media/link/WireWriter.h"
#include "platform/media/MediaFacts.h"

namespace media {

/// Facts are sent in two parts: the flow (ranges, buffer, dates) changes while media play; the
/// contents (tracks, options, metadata, chapters, title) rarely change and may be large.
void putFlow(WireWriter& writer, const platform::MediaFacts& facts);
void putContents(WireWriter& writer, const platform::MediaFacts& facts);
/// Decoding limits the lengths of lists and requires finite times.
void takeFlow(WireReader& reader, platform::MediaFacts& facts);
void takeContents(WireReader& reader, platform::MediaFacts& facts);

bool haveEqualFlow(const platform::MediaFacts& a, const platform::MediaFacts& b);
bool haveEqualContents(const platform::MediaFacts& a, const platform::MediaFacts& b);

}  // namespace media
