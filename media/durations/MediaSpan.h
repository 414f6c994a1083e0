#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

namespace media {

/// The time span of media whose container does not state its duration. In seconds.
struct MediaSpan {
  double lead = 0;      ///< from the start of the media's clock to the first picture or audio frame
  double duration = 0;  ///< from there to the end of the last picture or audio frame
  /// The earliest time of the clock to seek to. tsdemux has other times before the lead.
  double earliest = 0;
  /// Of joined recordings, what demuxers can seek in, from the first picture or audio frame on; 0:
  /// nothing. Not set: the whole duration.
  std::optional<double> seekable = std::nullopt;
};

/// Reads bytes at an offset. Returns how many were read: less than asked for at the end of the
/// resource or on an error.
using ReadBytes = std::function<std::size_t(std::uint64_t offset, std::span<std::uint8_t> into)>;

/// Measures transport streams and program streams by their first and last time stamps, fragmented
/// mp4, Matroska and FLAC that do not state their duration by their last fragment, cluster or
/// frame, and raw audio (ADTS, MPEG audio without a header, AC-3, E-AC-3) by counting its frames.
/// Reads at most `limit` bytes of raw audio, and about 6 MiB of others. Returns nullopt for other
/// formats, and if the limit does not suffice.
std::optional<MediaSpan> measureSpan(const ReadBytes& read, std::uint64_t size,
                                     std::uint64_t limit);

}  // namespace media
