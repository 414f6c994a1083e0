#include <utility>

#include "streaming/manifest/ManifestErrors.h"
#include "streaming/manifest/dash/DASHAdaptationSets.h"
#include "streaming/manifest/dash/DASHManifest.h"
#include "streaming/manifest/dash/DASHPatch.h"
#include "streaming/manifest/dash/DASHRemotePeriods.h"

namespace streaming {

ReadResult<std::shared_ptr<const Presentation>> readDASH(
    std::string_view text, const ManifestOrigin& origin,
    const std::shared_ptr<const Presentation>& previous, const RemotePeriods& remote) {
  if (text.size() > kMaxManifestBytes) return unusableManifest("The manifest is too long.");
  auto document = std::make_shared<DASHDocument>();
  document->origin = origin;
  if (auto reason = XMLTree::load(text, document->tree))
    return unusableManifest(*std::move(reason));
  if (isNamed(document->tree.document_element(), "Patch")) {
    if (!previous || !previous->document)
      return unusableManifest("There is no manifest to apply the patch to.");
    auto patched = std::make_shared<DASHDocument>();
    patched->tree.reset(previous->document->tree);
    // URLs are relative to the manifest, not to the patch.
    patched->origin = previous->document->origin;
    if (auto reason = applyDASHPatch(document->tree.document_element(), patched->tree))
      return unusableManifest(*std::move(reason));
    document = std::move(patched);
  }
  const pugi::xml_node root = document->tree.document_element();
  if (!isNamed(root, "MPD")) return unusableManifest("The document is not a DASH manifest.");
  if (essentialUse(root) != EssentialUse::Play)
    return unusableManifest("The manifest has an unsupported essential property.");
  // The stored document keeps its xlink references, because patches refer to them.
  pugi::xml_document complete;
  if (!remote.empty()) {
    complete.reset(document->tree);
    if (!insertRemotePeriods(complete, document->origin, remote))
      return unusableManifest("The manifest is too long together with its periods.");
  }
  const pugi::xml_node read = remote.empty() ? root : complete.document_element();
  auto presentation = DASHManifest(read, document->origin).read();
  if (!presentation) return unusableManifest("The manifest contains nothing playable.");
  if (presentation->reload && !presentation->reload->patchURL.empty())
    presentation->document = std::move(document);
  return std::shared_ptr<const Presentation>(std::move(presentation));
}

}  // namespace streaming
