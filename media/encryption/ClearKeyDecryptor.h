#pragma once

#include <memory>

#include <gst/gst.h>

#include "media/encryption/ContentKeys.h"

namespace media {

/// Registers an element that decrypts fragmented MP4 with common encryption (`cenc` and `cbcs`).
/// GStreamer plugs it behind demuxers. Call it once in a process, before any media are played.
///
/// Keys are requested by the key ids in the samples. Initialisation data of a protection system is
/// not needed, so media made for any system, or for none, play if the sender has the key.
///
/// The element blocks its streaming thread until the key arrives, for at most 35 seconds. A flush
/// or a state change ends the wait. In DASH neither reaches the element while it waits, so close
/// the keys before such a pipeline is stopped. Without a key the pipeline fails with
/// GST_STREAM_ERROR_DECRYPT_NOKEY; samples that cannot be decrypted cause GST_STREAM_ERROR_DECRYPT.
void registerClearKeyDecryptor();

/// Makes all decryptors of `pipeline`, including later ones, request keys from `keys`.
void setContentKeys(GstElement* pipeline, std::shared_ptr<ContentKeys> keys);

}  // namespace media
