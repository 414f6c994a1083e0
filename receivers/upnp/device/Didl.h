#pragma once

#include <optional>
#include <string>

#include "receivers/upnp/model/Item.h"

namespace upnp {

/// Reads the DIDL-Lite document that a controller has set with a URI. An empty document is an item
/// without a description. None if it is not DIDL-Lite.
std::optional<Item> readItem(const std::string& uri, const std::string& metadata);

}  // namespace upnp
