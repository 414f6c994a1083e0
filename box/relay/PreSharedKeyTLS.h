#pragma once

#include <curl/curl.h>

#include "box/relay/RelayItem.h"

namespace box {

/// Makes a transfer's TLS rest on `key` instead of certificates. The key outlives the transfer and
/// its connection.
void usePreSharedKey(CURL* transfer, const PreSharedKey& key);

}  // namespace box
