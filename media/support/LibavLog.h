#pragma once

namespace media {

/// Turns the log of libavformat and libavcodec off: errors are reported in our own log.
/// Threads: any.
void silenceLibav();

}  // namespace media
