#include "streaming/manifest/DASHManifest.h"
#include "streaming/manifest/ManifestErrors.h"

namespace streaming {

ReadResult<std::shared_ptr<const Presentation>> readDASH(
    std::string_view text, const ManifestOrigin& origin,
    const std::shared_ptr<const Presentation>&) {
  if (text.size() > kMostManifestBytes) return unusableManifest("The manifest is too long.");
  pugi::xml_document document;
  if (auto reason = XMLTree::load(text, document)) return unusableManifest(*std::move(reason));
  const pugi::xml_node root = document.document_element();
  if (!isNamed(root, "MPD")) return unusableManifest("The manifest is none of DASH.");
  auto presentation = DASHManifest(root, origin).read();
  if (!presentation) return unusableManifest("The manifest names nothing that could be played.");
  return presentation;
}

}  // namespace streaming
