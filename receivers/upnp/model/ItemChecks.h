#pragma once

#include "receivers/upnp/model/Errors.h"
#include "receivers/upnp/model/Item.h"

namespace upnp {

/// Returns whether the box may fetch the URI: HTTP, not too long, without spaces and controls.
bool isFetchable(const std::string& uri);

/// Checks lengths, the scheme of the URI, and the type of the media.
Failure checkItem(const Item& item);

}  // namespace upnp
