#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "streaming/playback/SegmentBytes.h"

namespace media {

/// How the bytes of a piece are laid out.
enum class MediaForm {
  MP4,
  TransportStream,
  Matroska,
  ADTS,
  LATM,
  AC3,
  EAC3,
  MPEGAudio,
  FLAC,
  Ogg
};

/// The form of what begins with `head`. None: it is none of these.
std::optional<MediaForm> mediaForm(std::span<const std::uint8_t> head);
/// So many bytes tell it.
inline constexpr std::size_t kMediaHeadBytes = 2048;

/// The name of libavformat's demuxer.
const char* demuxerName(MediaForm form);
/// Bare audio frames: the bytes have no time stamps of their own.
bool isPackedAudio(MediaForm form);

/// Copies what is at `offset` into `into`, waiting for all of it. Returns how much there was.
std::size_t readFully(const streaming::SegmentBytes& bytes, std::uint64_t offset,
                      std::span<std::uint8_t> into, const streaming::ReadGate& gate);

/// Whether an mp4 has its media before its index, so that nothing can be read before all is there.
bool isIndexLast(const streaming::SegmentBytes& bytes, const streaming::ReadGate& gate);

/// Where the media begin behind tags of ID3 at the beginning of `bytes`.
std::uint64_t lengthOfTags(const streaming::SegmentBytes& bytes, const streaming::ReadGate& gate);

}  // namespace media
