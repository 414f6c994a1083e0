#pragma once

#include <gst/gst.h>

#include "box/media/GstRef.h"

namespace box {

/// Where pipelines sound. By itself the default device of the box: that of the sound server where
/// one listens, else that of ALSA where there is one to play on.
///
/// What is not there is not tried: trying loads libraries, takes tens of milliseconds and may print
/// to stderr.
///
/// Threads: any that may block, several at once; a sound server may take its time to answer.
class AudioDevice {
 public:
  virtual ~AudioDevice() = default;
  /// A sink with the device open (READY); null where there is none, or where it refuses.
  virtual GstRef<GstElement> open();
  /// Only one at a time can have it: a sound server mixes, a card need not.
  virtual bool isExclusive();
};

}  // namespace box
