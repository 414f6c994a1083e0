#pragma once

#include <string>

namespace upnp {

/// The pretty name of the host, as "Living room"; else its host name.
std::string prettyHostName();

}  // namespace upnp
