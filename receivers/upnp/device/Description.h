#pragma once

#include <string>

namespace upnp {

/// Writes the descriptions of device and services and the icons into a folder, from which GUPnP
/// serves them. Returns false if it cannot be written.
bool writeDescriptions(const std::string& folder, const std::string& name, const std::string& uuid);

}  // namespace upnp
