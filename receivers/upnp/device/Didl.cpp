#include "receivers/upnp/device/Didl.h"

#include <string_view>

#include <libgupnp-av/gupnp-av.h>
#include <libxml/xmlreader.h>

#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/model/ItemChecks.h"
#include "receivers/upnp/model/Time.h"

namespace upnp {

namespace {

std::string contentOf(xmlNode* node) {
  xmlChar* const content = xmlNodeGetContent(node);
  std::string text = textOf(reinterpret_cast<const char*>(content));
  xmlFree(content);
  return text;
}

std::string attributeOf(xmlNode* node, const char* name) {
  xmlChar* const value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
  std::string text = textOf(reinterpret_cast<const char*>(value));
  xmlFree(value);
  return text;
}

std::string trimmed(const std::string& text) {
  constexpr const char* kSpaces = " \t\r\n";
  const auto begin = text.find_first_not_of(kSpaces);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kSpaces) - begin + 1);
}

bool isNamed(const xmlNode* node, std::string_view name) {
  return node->type == XML_ELEMENT_NODE && reinterpret_cast<const char*>(node->name) == name;
}

/// "http-get:*:video/mp4:DLNA.ORG_OP=01" gives "video/mp4".
std::string mimeTypeOf(std::string_view protocolInfo) {
  for (int field = 0; field < 2; ++field) {
    const auto colon = protocolInfo.find(':');
    if (colon == std::string_view::npos) return {};
    protocolInfo.remove_prefix(colon + 1);
  }
  const std::string_view type = protocolInfo.substr(0, protocolInfo.find(':'));
  return std::string(type.substr(0, type.find(';')));
}

bool isSubtitleType(std::string_view type) {
  constexpr std::string_view kTypes[] = {
      "text/srt",   "text/vtt",  "application/x-subrip", "application/ttml+xml",
      "text/x-ssa", "text/x-ass"};
  for (const std::string_view one : kTypes) {
    if (type == one) return true;
  }
  return false;
}

/// The first resource is used if none has the item's URI: some controllers rewrite it.
void readResources(xmlNode* object, Item& item) {
  xmlNode* chosen = nullptr;
  bool isChosenExact = false;
  for (xmlNode* node = object->children; node; node = node->next) {
    if (!isNamed(node, "res")) continue;
    const std::string type = mimeTypeOf(attributeOf(node, "protocolInfo"));
    if (isSubtitleType(type)) {
      if (item.subtitleUri.empty()) item.subtitleUri = contentOf(node);
      continue;
    }
    const bool isExact = contentOf(node) == item.uri;
    if (chosen && (isChosenExact || !isExact)) continue;
    chosen = node;
    isChosenExact = isExact;
  }
  if (!chosen) return;
  item.mimeType = mimeTypeOf(attributeOf(chosen, "protocolInfo"));
  item.duration = parseTime(attributeOf(chosen, "duration")).value_or(0);
  if (item.subtitleUri.empty()) item.subtitleUri = attributeOf(chosen, "subtitleFileUri");
}

void readCaptions(xmlNode* object, Item& item) {
  for (xmlNode* node = object->children; node; node = node->next) {
    if (!isNamed(node, "CaptionInfoEx") && !isNamed(node, "CaptionInfo")) continue;
    if (item.subtitleUri.empty()) item.subtitleUri = contentOf(node);
  }
}

/// Reads until the first error, which the DIDL-Lite parser may recover from.
bool isDeep(const std::string& document) {
  constexpr int kMaximumDepth = 32;
  const auto size = static_cast<int>(document.size());
  const auto options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  xmlTextReader* const reader =
      xmlReaderForMemory(document.data(), size, nullptr, nullptr, options);
  bool isDeeper = false;
  while (reader && !isDeeper && xmlTextReaderRead(reader) == 1) {
    isDeeper = xmlTextReaderDepth(reader) > kMaximumDepth;
  }
  xmlFreeTextReader(reader);
  return isDeeper;
}

void readObject(GUPnPDIDLLiteParser*, GUPnPDIDLLiteObject* object, gpointer data) {
  auto& item = *static_cast<Item*>(data);
  if (!item.title.empty()) return;
  item.title = textOf(gupnp_didl_lite_object_get_title(object));
  item.artist = textOf(gupnp_didl_lite_object_get_artist(object));
  if (item.artist.empty()) item.artist = textOf(gupnp_didl_lite_object_get_creator(object));
  item.album = textOf(gupnp_didl_lite_object_get_album(object));
  item.artUri = textOf(gupnp_didl_lite_object_get_album_art(object));
  xmlNode* const node = gupnp_didl_lite_object_get_xml_node(object);
  readResources(node, item);
  readCaptions(node, item);
  const std::string objectClass = textOf(gupnp_didl_lite_object_get_upnp_class(object));
  if (item.mimeType.empty() && objectClass.starts_with("object.item.imageItem")) {
    item.mimeType = "image/*";
  }
}

/// libxml2 would write each error to stderr, which is the log.
void silenceXmlErrors() {
  xmlSetStructuredErrorFunc(nullptr, [](void*, auto) {});
}

}  // namespace

std::optional<Item> readItem(const std::string& uri, const std::string& metadata) {
  silenceXmlErrors();
  Item item;
  item.uri = uri;
  item.metadata = metadata;
  // Longer documents are refused anyway.
  if (metadata.empty() || metadata.size() > kMaximumMetadataBytes) return item;
  if (isDeep(metadata)) return std::nullopt;
  const ObjectRef<GUPnPDIDLLiteParser> parser(gupnp_didl_lite_parser_new());
  g_signal_connect(parser.get(), "object-available", G_CALLBACK(readObject), &item);
  GError* error = nullptr;
  gupnp_didl_lite_parser_parse_didl(parser.get(), metadata.c_str(), &error);
  const OwnedError owned(error);
  if (error) return std::nullopt;
  for (std::string* const address : {&item.artUri, &item.subtitleUri}) {
    *address = trimmed(*address);
    if (!isFetchable(*address)) address->clear();
  }
  if (metadata.size() > kMaximumKeptMetadataBytes) item.metadata.clear();
  return item;
}

}  // namespace upnp
