#pragma once

#include <memory>

#include <gst/gst.h>

#include "media/encryption/ContentKeys.h"

namespace media {

/// Makes the library decrypt fragmented mp4 with common encryption, alone or in DASH: registers an
/// element that it puts behind demuxers by itself. Once a process, before any media are played.
///
/// The element takes the schemes `cenc` and `cbcs`. It asks for keys by the identifiers in the
/// media, and so needs no system's initialisation data: media for other systems, or with no system
/// named, play with a key from whoever has one.
///
/// It waits for a key on its streaming thread, at most 35 seconds, and no longer than until a flush
/// or a change of state reaches it: in DASH neither does while it waits, so the keys are closed
/// before such a pipeline is taken down. Without the key the pipeline fails with
/// GST_STREAM_ERROR_DECRYPT_NOKEY, and with GST_STREAM_ERROR_DECRYPT for samples that cannot be
/// decrypted.
void registerClearKeyDecryptor();

/// Lets the decryptors in `pipeline`, those that are still to come too, ask `keys`.
void offerContentKeys(GstElement* pipeline, std::shared_ptr<ContentKeys> keys);

}  // namespace media
