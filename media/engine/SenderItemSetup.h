#pragma once

#include "platform/media/TVSMediaItem.h"
#include "streaming/transfer/ItemSetup.h"

namespace media {

/// Header fields with the store token and the account of a purchased item.
inline constexpr std::string_view kStoreTokenHeader = "X-Vorlane-Store-Token";
inline constexpr std::string_view kStoreAccountHeader = "X-Vorlane-Store-Account";

/// Returns how an item is fetched, according to its metadata and traits: user agent, cookies, TLS
/// pre-shared key, store token. `requestContent` is not set. Threads: main.
streaming::ItemSetup itemSetupOf(const TVSMediaItem& item);

}  // namespace media
