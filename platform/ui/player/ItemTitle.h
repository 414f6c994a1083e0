#pragma once

#include <string>
#include <string_view>

class TVSPlayer;

namespace platform {

/// The name under which the player's current item is shown: the title that was set on the item, the
/// title inside the media, the file's name in the URL, or the URL's host, in this order. For an
/// item without pictures the artist follows the title, where one was set. Empty without an item.
std::string displayTitle(const TVSPlayer& player);

/// The last component of the URL's path without percent encoding, or the host where the path names
/// no file. A component that decodes to anything else than printable UTF-8 stays as it is.
std::string nameFromURL(std::string_view url);

}  // namespace platform
