#pragma once

namespace media {

/// Registers a video and an audio decoder that use libavcodec. They decode streams of LibavDemuxer
/// for which GStreamer has no decoder. Their caps are those of LibavCaps.h.
void registerLibavDecoders();

/// Called by registerLibavDecoders().
void registerLibavAudioDecoder();
void registerLibavVideoDecoder();

}  // namespace media
