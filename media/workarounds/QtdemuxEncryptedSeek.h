#pragma once

#include <gst/gst.h>

namespace media {

/// Fault: qtdemux in pull mode forgets the initialisation vectors of the samples that it has read
/// past, and does not read them again after a seek back. In push mode, as in DASH, it does.
///
/// Library: isomp4 of GStreamer 1.22.0 to 1.26.2. No upstream report known.
/// Without it: the playback of an encrypted fragmented mp4 fails after a seek.
/// Test: QtdemuxEncryptedSeek_test.cpp, which fails where the fault is gone.
/// Delete it when no supported version fails there.
///
/// Whether `pipeline` decrypts what a qtdemux in pull mode reads. Such media must not be sought.
bool losesDecryptionBySeeks(GstElement* pipeline);

}  // namespace media
