#pragma once

#include <cstddef>

namespace box {

/// A playlist that is longer is refused: nobody writes one, and its reader keeps all of it.
inline constexpr std::size_t maxPlaylistBytes = std::size_t{8} * 1024 * 1024;
/// So is one with a line, or a tag, that is longer.
inline constexpr std::size_t maxPlaylistLineBytes = std::size_t{64} * 1024;
/// Of the segments of a playlist, so many are kept for its time line,
inline constexpr std::size_t maxTimelineSegments = 10'000;
/// and so many bytes of their URLs.
inline constexpr std::size_t maxTimelineURLBytes = std::size_t{2} * 1024 * 1024;

}  // namespace box
