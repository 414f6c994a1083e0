#pragma once

#include <string>
#include <string_view>

class TVSPlayer;

namespace platform {

/// The title of the current item for display: the title in the item metadata, the title in the
/// media, the file name in the URL, or the host of the URL, in this order. For an item without
/// video the artist is appended. Empty if there is no item.
std::string displayTitle(const TVSPlayer& player);

/// The last path component of `url` without percent encoding, or the host if that is empty. A
/// component that does not decode to printable UTF-8 is returned encoded.
std::string nameFromURL(std::string_view url);

}  // namespace platform
