#pragma once

#include <curl/curl.h>

#include "streaming/transfer/ItemSetup.h"

namespace streaming {

/// Authenticates the TLS of a transfer by `key` instead of certificates. The key outlives the
/// transfer and its connection.
void usePreSharedKey(CURL* transfer, const PreSharedKey& key);

}  // namespace streaming
