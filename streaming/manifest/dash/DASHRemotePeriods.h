#pragma once

#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// The URL of the document that contains the period. Empty: the period is not remote, or it
/// resolves to zero.
std::string remotePeriodURL(pugi::xml_node period, const ManifestOrigin& origin);

/// Replaces remote periods by those of `remote`. If a document could not be loaded, the period
/// keeps its own content. False: the manifest exceeds a limit.
bool insertRemotePeriods(pugi::xml_document& document, const ManifestOrigin& origin,
                         const RemotePeriods& remote);

}  // namespace streaming
