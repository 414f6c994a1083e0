#pragma once

#include <cstddef>

#include "media/link/LinkThread.h"
#include "media/link/TextMessages.h"

namespace media {

/// The link breaks when too much waits to be sent. A packet of subtitles of a few kilobytes may
/// contain an image of 16 MiB, so above this limit images are left out.
inline constexpr std::size_t kQueueLimitForImages = LinkSocket::kQueueLimit / 2;

/// Sends a change of the subtitles to the box. Does not block.
void sendTexts(LinkThread& link, const TextChange& change);

}  // namespace media
