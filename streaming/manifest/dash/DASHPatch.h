#pragma once

#include <optional>
#include <string>

#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// A manifest that patches may be applied to.
struct DASHDocument {
  pugi::xml_document tree;
  ManifestOrigin origin;
};

/// Carries out the operations of a patch (`Patch`, ISO/IEC 23009-1, and RFC 5261) on `document`.
/// Gives a reason when it does not fit; then the document may have changed in part.
std::optional<std::string> applyDASHPatch(pugi::xml_node patch, pugi::xml_document& document);

}  // namespace streaming
