#include "streaming/manifest/dash/DASHRemotePeriods.h"

#include <algorithm>

#include "streaming/foundation/URL.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxRemotePeriods = 16;
constexpr std::string_view kHref = "href";

pugi::xml_attribute referenceOf(pugi::xml_node period) {
  for (const pugi::xml_attribute each : period.attributes()) {
    const std::string_view name = each.name();
    if (name == kHref || name.ends_with(":href")) return each;
  }
  return {};
}

}  // namespace

std::string remotePeriodURL(pugi::xml_node period, const ManifestOrigin& origin) {
  const std::string_view reference = referenceOf(period).value();
  if (reference.empty() || reference.starts_with("urn:")) return {};
  auto url = resolveURL(origin.url, reference);
  if (!url) return {};
  return origin.inheritsQuery ? withQueryOf(origin.url, *std::move(url)) : *std::move(url);
}

std::vector<std::string> remotePeriodsOf(std::string_view text, const ManifestOrigin& origin) {
  std::vector<std::string> urls;
  // Most manifests have no remote periods and need not be parsed here.
  pugi::xml_document document;
  if (text.find(kHref) == text.npos || text.size() > kMaxManifestBytes ||
      XMLTree::load(text, document))
    return urls;
  for (const pugi::xml_node period : childrenOf(document.document_element(), "Period")) {
    std::string url = remotePeriodURL(period, origin);
    if (url.empty() || std::find(urls.begin(), urls.end(), url) != urls.end()) continue;
    urls.push_back(std::move(url));
    if (urls.size() == kMaxRemotePeriods) break;
  }
  return urls;
}

bool insertRemotePeriods(pugi::xml_document& document, const ManifestOrigin& origin,
                         const RemotePeriods& remote) {
  pugi::xml_node root = document.document_element();
  for (pugi::xml_node period : childrenOf(root, "Period")) {
    const auto found = remote.find(remotePeriodURL(period, origin));
    if (found == remote.end()) continue;
    pugi::xml_document content;
    const bool isRead = !XMLTree::load(found->second, content);
    bool hasPeriods = false;
    for (const pugi::xml_node each : content.children()) {
      if (!isRead || !isNamed(each, "Period")) continue;
      root.insert_copy_before(each, period);
      hasPeriods = true;
    }
    if (hasPeriods)
      root.remove_child(period);
    else
      period.remove_attribute(referenceOf(period));
    // The same document may be included many times.
    if (!XMLTree::isWithinLimits(document)) return false;
  }
  return true;
}

}  // namespace streaming
