#pragma once

#include <cstddef>
#include <string>

namespace upnp {

/// What a controller has set, with the parts of its DIDL-Lite document that the box uses.
struct Item {
  std::string uri;
  std::string metadata;  ///< the DIDL-Lite document as it was set
  std::string title;
  std::string artist;
  std::string album;
  std::string artUri;
  std::string subtitleUri;
  std::string mimeType;  ///< "video/mp4"; empty if unknown
  double duration = 0;   ///< seconds; 0: unknown

  bool operator==(const Item&) const = default;
};

inline constexpr std::size_t kMaximumUriBytes = 8 * 1024;
inline constexpr std::size_t kMaximumMetadataBytes = 256 * 1024;
/// Longer metadata are read, but not kept for controllers: an event has them three times.
inline constexpr std::size_t kMaximumKeptMetadataBytes = 16 * 1024;

/// An item with the identifier that the box's events have.
struct Track {
  Item item;
  std::string uuid;
};

}  // namespace upnp
