#pragma once

namespace media {

/// Registers a video and an audio decoder that use libavcodec. They decode streams of LibavDemuxer
/// for which GStreamer has no decoder. Their caps are those of LibavCaps.h. Another one,
/// "vorlanelibavh264", is for H.264, and has a lower rank than those of GStreamer.
void registerLibavDecoders();

/// Called by registerLibavDecoders().
void registerLibavAudioDecoder();
void registerLibavVideoDecoder();

}  // namespace media
