#pragma once

namespace media {

/// Registers two elements that decode with libavcodec what LibavDemuxer outputs and GStreamer has
/// no decoder for: one for video, one for audio. Their caps are those of LibavCaps.h.
void registerLibavDecoders();

/// The elements, each in a file of its own.
void registerLibavAudioDecoder();
void registerLibavVideoDecoder();

}  // namespace media
