#pragma once

#include "box/relay/RelayItem.h"
#include "platform/media/TVSMediaItem.h"

namespace box {

// Header fields under which a purchase's record goes to the server of its playback URL.
inline constexpr std::string_view kStoreTokenHeader = "X-Vorlane-Store-Token";
inline constexpr std::string_view kStoreAccountHeader = "X-Vorlane-Store-Account";

/// How `item` is to be fetched, by its metadata and traits; without a way to ask. A cookie is a
/// text `name=value`, for the host of the item's URL, or a dictionary with "name", "value" and,
/// where they matter, "domain", "path" and "secure". What cannot be sent in a header field (line
/// breaks) is left out.
///
/// Threads: main.
RelayItemSetup relaySetupOf(const TVSMediaItem& item);

}  // namespace box
