#pragma once

#include <optional>
#include <string>

#include "streaming/manifest/ManifestReader.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

struct DASHDocument {
  pugi::xml_document tree;
  ManifestOrigin origin;
};

/// Applies a patch (`Patch` of ISO/IEC 23009-1, RFC 5261) to `document`. Returns the reason of a
/// failure; `document` may then be partly changed.
std::optional<std::string> applyDASHPatch(pugi::xml_node patch, pugi::xml_document& document);

}  // namespace streaming
