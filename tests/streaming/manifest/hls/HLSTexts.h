#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "streaming/manifest/ManifestReader.h"

namespace streaming::test {

inline const ManifestOrigin kPlaylistOrigin{"http://host/path/main.m3u8?token=1", {}, false};

inline HLSManifest hlsManifestOf(std::string_view text) {
  auto result = readHLS(text, kPlaylistOrigin);
  if (const auto* error = std::get_if<platform::Error>(&result)) {
    ADD_FAILURE() << error->description();
    return {};
  }
  return std::get<HLSManifest>(std::move(result));
}

/// Null: the playlist is rejected.
inline std::shared_ptr<const MediaPlaylist> playlistOf(
    std::string_view text, const PlaylistContext& context = {},
    const ManifestOrigin& origin = kPlaylistOrigin) {
  auto result = readMediaPlaylist(text, origin, context);
  const auto* playlist = std::get_if<std::shared_ptr<const MediaPlaylist>>(&result);
  return playlist ? *playlist : nullptr;
}

/// All segments in order, at most 1000.
inline std::vector<Segment> segmentsOf(const MediaPlaylist& playlist) {
  std::vector<Segment> segments;
  auto next = playlist.segments->first({});
  while (next && segments.size() < 1000) {
    segments.push_back(*next);
    next = playlist.segments->after(segments.back());
  }
  return segments;
}

/// A live playlist with segments of four seconds: "s7.ts", "s8.ts" … `tags` precede them.
inline std::string livePlaylist(std::uint64_t first, int count, const std::string& tags = {},
                                const std::string& name = "s") {
  std::string text =
      "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n" +
      tags;
  for (int at = 0; at < count; ++at)
    text +=
        "#EXTINF:4,\n" + name + std::to_string(first + static_cast<std::uint64_t>(at)) + ".ts\n";
  return text;
}

}  // namespace streaming::test
