#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: qtdemux reads the flag for full range in the "colr" box from the wrong byte, does not
/// support PCM of ISO/IEC 23003-5 ("ipcm" and "fpcm"), outputs PCM of more than two channels
/// without their positions, which cannot be mixed down, and may fail if a track has no sample
/// entry.
///
/// Library: isomp4 of GStreamer 1.22.0. The last two faults are also in 1.26.2.
/// Without it: pictures in full range have wrong colors, and the audio or the item does not play.
/// Test: ColorBars_test.cpp (bars_709_full_h264, bars_709_full_h265), QtdemuxSampleEntries_test.cpp
/// and FailingTracks_test.cpp (TracksWithoutADescriptionAreIgnored).
/// Delete it when the oldest supported version has none of the faults.
///
/// How: reads the sample entries in the "moov" box, corrects the caps of a new pad before it is
/// linked, and, if qtdemux pulls, changes the types of PCM and hides tracks without an entry. In a
/// file that cannot be sought, "ipcm" and "fpcm" do not play.
void installQtdemuxSampleEntries(GstElement* pipeline);

}  // namespace media
