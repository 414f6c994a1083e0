#pragma once

#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// The document with which a period says where its content is; empty: it has its own. Empty also
/// for a period that resolves to nothing.
std::string remotePeriodURL(pugi::xml_node period, const ManifestOrigin& origin);

/// Puts the periods of `remote` in the places of those that refer to them. One that could not be
/// had keeps the content that it has here. False: the manifest has become too long.
bool insertRemotePeriods(pugi::xml_document& document, const ManifestOrigin& origin,
                         const RemotePeriods& remote);

}  // namespace streaming
