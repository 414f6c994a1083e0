#pragma once

namespace media {

/// Makes the elements of this folder known to GStreamer, once a process, after it has been
/// initialised.
void registerElements();

}  // namespace media
