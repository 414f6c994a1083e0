#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "streaming/playback/SegmentBytes.h"

namespace media {

enum class ContainerFormat {
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

/// Detects the format by the first bytes. Returns nullopt if it is not supported.
std::optional<ContainerFormat> containerFormatOf(std::span<const std::uint8_t> head);
/// How many bytes containerFormatOf() needs at most.
inline constexpr std::size_t kFormatProbeBytes = 2048;

const char* demuxerName(ContainerFormat format);
/// Returns whether the format is packed audio: audio frames without time stamps.
bool isPackedAudio(ContainerFormat format);

/// Reads from `offset` until `into` is full, and blocks for it. Returns how many bytes there were.
std::size_t readFully(const streaming::SegmentBytes& bytes, std::uint64_t offset,
                      std::span<std::uint8_t> into, const streaming::ReadGate& gate);

/// Returns whether `mdat` is before `moov`, so that the file can only be read when it is complete.
bool isIndexLast(const streaming::SegmentBytes& bytes, const streaming::ReadGate& gate);

/// Returns the length of the ID3 tags at the beginning of `bytes`.
std::uint64_t lengthOfID3Tags(const streaming::SegmentBytes& bytes,
                              const streaming::ReadGate& gate);

}  // namespace media
