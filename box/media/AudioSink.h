#pragma once

#include <gst/gst.h>

#include "box/media/GstRef.h"

namespace box {

/// The default audio device of the box: that of the sound server where one listens, else that of
/// ALSA where there is a device to play on, else one that swallows sound in its own time.
///
/// What is not there is not tried: trying loads libraries, takes tens of milliseconds and may print
/// to stderr. The device is open (READY) already, so that one which refuses is passed over.
///
/// Threads: any that may block; a sound server may take its time to answer.
GstRef<GstElement> makeAudioSink();

/// Whether it is the one that swallows.
bool isSilent(GstElement* audioSink);

}  // namespace box
