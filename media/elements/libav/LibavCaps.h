#pragma once

#include <gst/gst.h>

#include "media/support/GstRef.h"

struct AVStream;

namespace media {

/// The caps of packets for the elements of LibavDecoder. The fields are those of AVCodecParameters;
/// "codec_data" is the extradata.
constexpr const char* kLibavVideoCaps = "video/x-vorlane-libav";
constexpr const char* kLibavAudioCaps = "audio/x-vorlane-libav";

/// Returns caps for packets of an audio or video stream: those of GStreamer's parsers and decoders
/// if there are any, otherwise those of LibavDecoder. If libavcodec has no decoder either, the caps
/// are of a type that no element accepts, with the name of the codec.
///
/// Subtitles have caps if they can be shown: bitmaps, SubRip and ASS. Returns null for all others.
GstRef<GstCaps> libavCapsOf(const AVStream& stream);

}  // namespace media
