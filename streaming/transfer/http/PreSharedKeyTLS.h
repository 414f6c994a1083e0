#pragma once

#include <curl/curl.h>

#include "streaming/transfer/ItemSetup.h"

namespace streaming {

/// Authenticates TLS with `key` instead of certificates. `key` must outlive the transfer and its
/// connection.
void usePreSharedKey(CURL* transfer, const PreSharedKey& key);

}  // namespace streaming
