#pragma once

#include <string>
#include <string_view>

class TVSPlayer;

namespace platform {

/// Texts that describe an item; may be empty.
struct ItemTexts {
  std::string title;
  std::string artist;
  std::string album;
};

/// The texts of the current item: title and artist of the item metadata, else of the media, and the
/// album of the media. Without a title it is the file name in the URL, or the host of the URL.
/// Empty if there is no item.
ItemTexts itemTexts(const TVSPlayer& player);

/// The title of the current item for display. For an item without video the artist is appended.
std::string displayTitle(const TVSPlayer& player);

/// Whether the current item has tracks, but none of video.
bool hasNoVideo(const TVSPlayer& player);

/// The last path component of `url` without percent encoding, or the host if that is empty. A
/// component that does not decode to printable UTF-8 is returned encoded.
std::string nameFromURL(std::string_view url);

}  // namespace platform
