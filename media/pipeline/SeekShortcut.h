#pragma once

#include <gst/gst.h>

namespace media {

/// A way to the picture that a seek asks for: of those before it, which are decoded only because it
/// refers to them, the ones that nothing refers to need not be, and none needs to leave the
/// decoder. The latter with GStreamer 1.22 only.
///
/// Watches the decoders of `pipeline`, on the threads of the media library; keeps nothing itself.
/// Of what is skipped, H.264 alone: it says in each picture whether others refer to it.
void takeSeekShortcuts(GstElement* pipeline);

/// Whether no other picture refers to this one. `lengthSize`: of the length in front of each part,
/// 0 where start codes are. What cannot be read is referred to.
bool isDisposableH264(const guint8* bytes, gsize size, guint lengthSize);

}  // namespace media
