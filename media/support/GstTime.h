#pragma once

#include <gst/gst.h>

namespace media {

/// Nanoseconds as GStreamer counts them, a GstClockTime or a signed position, in seconds.
template <typename Nanoseconds>
double secondsOf(Nanoseconds time) {
  return static_cast<double>(time) / static_cast<double>(GST_SECOND);
}

}  // namespace media
