#pragma once

#include "platform/media/TVSMediaItem.h"
#include "streaming/transfer/ItemSetup.h"

namespace media {

/// The header fields that carry the store token and the account of a purchase.
inline constexpr std::string_view kStoreTokenHeader = "X-Vorlane-Store-Token";
inline constexpr std::string_view kStoreAccountHeader = "X-Vorlane-Store-Account";

/// What the sender has said about how an item is to be fetched: user agent, cookies, TLS key, store
/// token, traits. Everything but `ask`. Main thread.
streaming::ItemSetup itemSetupOf(const TVSMediaItem& item);

}  // namespace media
