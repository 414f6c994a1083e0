#pragma once

#include <gst/gst.h>

namespace media {

/// Converts a GstClockTime or a signed time in nanoseconds to seconds.
template <typename Nanoseconds>
double secondsOf(Nanoseconds time) {
  return static_cast<double>(time) / static_cast<double>(GST_SECOND);
}

}  // namespace media
