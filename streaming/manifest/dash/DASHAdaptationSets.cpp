#include "streaming/manifest/dash/DASHAdaptationSets.h"

#include <algorithm>

#include "platform/media/MediaSelection.h"
#include "streaming/foundation/Text.h"
#include "streaming/manifest/CodecNames.h"

namespace streaming {
namespace {

struct CharacteristicMapping {
  std::string_view scheme;
  std::string_view value;
  std::string_view characteristic;
};
constexpr std::string_view kRoles = "urn:mpeg:dash:role:2011";
constexpr std::string_view kPurposes = "urn:tva:metadata:cs:AudioPurposeCS:2007";
constexpr std::string_view kCaptions = "urn:scte:dash:cc:cea-608:2015";
constexpr CharacteristicMapping kCharacteristicMappings[] = {
    {kRoles, "alternate", platform::kMediaOptionAuxiliary},
    {kRoles, "supplementary", platform::kMediaOptionAuxiliary},
    {kRoles, "commentary", platform::kMediaOptionCommentary},
    {kRoles, "caption", platform::kMediaOptionHardOfHearing},
    {kRoles, "description", platform::kMediaOptionDescribesVideo},
    {kPurposes, "1", platform::kMediaOptionDescribesVideo},
    {kPurposes, "2", platform::kMediaOptionHardOfHearing},
};
constexpr std::string_view kProtection = "urn:mpeg:dash:mp4protection:2011";

constexpr std::size_t kMaxProtections = 32;

bool hasComponent(pugi::xml_node set, std::string_view kind) {
  for (const pugi::xml_node node : set.children())
    if (isNamed(node, "ContentComponent") && attributeOf(node, "contentType") == kind) return true;
  return false;
}

}  // namespace

std::string_view inheritedAttribute(pugi::xml_node outer, pugi::xml_node inner,
                                    std::string_view name) {
  constexpr std::size_t kMaxAttributeLength = 1024;
  const std::string_view value =
      hasAttribute(inner, name) ? attributeOf(inner, name) : attributeOf(outer, name);
  return value.size() <= kMaxAttributeLength ? value : std::string_view();
}

std::optional<MediaKind> dashComponentKind(pugi::xml_node set) {
  if (hasComponent(set, "video")) return MediaKind::Video;
  if (hasComponent(set, "audio")) return MediaKind::Audio;
  return std::nullopt;
}

std::optional<MediaKind> dashMediaKind(pugi::xml_node outer, pugi::xml_node inner,
                                       std::optional<MediaKind> components) {
  const std::string_view codecs = inheritedAttribute(outer, inner, "codecs");
  if (isTextCodec(codecs)) return MediaKind::Text;
  const std::string_view content = inheritedAttribute(outer, inner, "contentType");
  const std::string_view mime = inheritedAttribute(outer, inner, "mimeType");
  if (mime == "application/ttml+xml" || mime == "text/vtt" || mime == "application/x-subrip")
    return MediaKind::Text;
  const std::string_view type = content.empty() ? mime.substr(0, mime.find('/')) : content;
  if (type == "video") return MediaKind::Video;
  if (type == "audio") return MediaKind::Audio;
  if (type == "text") return MediaKind::Text;
  if (!type.empty() && type != "application") return std::nullopt;
  if (components) return components;
  if (codecs.empty()) return std::nullopt;
  return isVideoCodec(codecs) ? MediaKind::Video : MediaKind::Audio;
}

TextFormat dashTextFormat(const Representation& representation) {
  if (representation.mimeType == "text/vtt") return TextFormat::WebVTT;
  if (representation.mimeType == "application/ttml+xml") return TextFormat::TTML;
  if (representation.mimeType == "application/x-subrip") return TextFormat::SubRip;
  return TextFormat::MP4;
}

void readTrackAttributes(pugi::xml_node set, Track& track) {
  track.language = languageWithin(set, track.kind == MediaKind::Video ? "video" : "audio");
  track.name = textOf(childOf(set, "Label")).substr(0, kMaxDASHNameLength);
  for (const pugi::xml_node node : set.children()) {
    if (!isNamed(node, "Role") && !isNamed(node, "Accessibility")) continue;
    const std::string_view scheme = attributeOf(node, "schemeIdUri");
    const std::string_view value = attributeOf(node, "value");
    if (scheme == kRoles && value == "main") track.isDefault = true;
    if (scheme == kRoles && (value == "forced-subtitle" || value == "forced_subtitle"))
      track.isForced = true;
    for (const CharacteristicMapping& each : kCharacteristicMappings)
      if (each.scheme == scheme && each.value == value &&
          std::find(track.characteristics.begin(), track.characteristics.end(),
                    each.characteristic) == track.characteristics.end())
        track.characteristics.emplace_back(each.characteristic);
  }
}

/// Parses "CC1=eng;CC3=swe", or languages only, which are assigned to the channels in order.
std::vector<Track> captionTracks(pugi::xml_node set) {
  constexpr std::string_view kChannels[] = {"CC1", "CC2", "CC3", "CC4"};
  std::vector<Track> tracks;
  for (const pugi::xml_node node : childrenOf(set, "Accessibility")) {
    if (attributeOf(node, "schemeIdUri") != kCaptions) continue;
    std::string_view channels = attributeOf(node, "value");
    for (const std::string_view next : kChannels) {
      if (channels.empty()) break;
      const std::string_view each = channels.substr(0, channels.find(';'));
      channels.remove_prefix(std::min(channels.size(), each.size() + 1));
      const auto equals = each.find('=');
      const std::string_view name = equals == each.npos ? next : each.substr(0, equals);
      const auto isNamed = [&](const Track& track) { return track.id == name; };
      if (std::find(std::begin(kChannels), std::end(kChannels), name) == std::end(kChannels) ||
          std::any_of(tracks.begin(), tracks.end(), isNamed))
        continue;
      Track captions;
      captions.kind = MediaKind::Text;
      captions.captionChannel = name;
      captions.language = each.substr(equals == each.npos ? 0 : equals + 1, kMaxDASHNameLength);
      captions.id = captions.captionChannel;
      tracks.push_back(std::move(captions));
    }
  }
  return tracks;
}

std::string languageWithin(pugi::xml_node set, std::string_view kind) {
  for (const pugi::xml_node component : childrenOf(set, "ContentComponent"))
    if (attributeOf(component, "contentType") == kind && hasAttribute(component, "lang"))
      return std::string(attributeOf(component, "lang").substr(0, kMaxDASHNameLength));
  return std::string(attributeOf(set, "lang").substr(0, kMaxDASHNameLength));
}

bool hasVideoAndAudioComponents(pugi::xml_node set) {
  return hasComponent(set, "video") && hasComponent(set, "audio");
}

bool isTrickModeScheme(std::string_view scheme) {
  return scheme == "http://dashif.org/guidelines/trickmode" ||
         scheme == "urn:mpeg:dash:guidelines:trickmode";
}

EssentialUse essentialUse(pugi::xml_node node) {
  EssentialUse use = EssentialUse::Play;
  for (const pugi::xml_node property : childrenOf(node, "EssentialProperty")) {
    const std::string_view scheme = attributeOf(property, "schemeIdUri");
    if (isTrickModeScheme(scheme)) use = EssentialUse::KeyFramesOnly;
    // Color information is also contained in the media.
    else if (!scheme.starts_with("urn:mpeg:mpegB:cicp:"))
      return EssentialUse::LeaveOut;
  }
  return use;
}

std::vector<pugi::xml_node> protectionNodesOf(pugi::xml_node node) {
  auto nodes = childrenOf(node, "ContentProtection");
  nodes.resize(std::min(nodes.size(), kMaxProtections));
  return nodes;
}

std::vector<Protection> protectionsOf(const std::vector<pugi::xml_node>& nodes) {
  std::vector<Protection> protections;
  for (const pugi::xml_node each : nodes) {
    Protection protection;
    const std::string_view scheme = attributeOf(each, "schemeIdUri").substr(0, kMaxDASHNameLength);
    if (lowercase(scheme) == kProtection)
      protection.scheme = attributeOf(each, "value").substr(0, kMaxDASHNameLength);
    else
      protection.systemID =
          lowercase(scheme.substr(std::min(scheme.size(), scheme.rfind(':') + 1)));
    std::string_view keyIDs = attributeOf(each, "default_KID");
    while (!keyIDs.empty() && protection.keyIDs.size() < kMaxProtections) {
      const auto end = std::min(keyIDs.find_first_of(" \t\r\n"), keyIDs.size());
      std::string keyID = lowercase(keyIDs.substr(0, end));
      keyIDs.remove_prefix(std::min(end + 1, keyIDs.size()));
      std::erase(keyID, '-');
      if (keyID.size() == 32) protection.keyIDs.push_back(std::move(keyID));
    }
    protections.push_back(std::move(protection));
  }
  return protections;
}

bool hasUnknownSegmentEncryption(const std::vector<pugi::xml_node>& protections) {
  return std::any_of(protections.begin(), protections.end(), [](pugi::xml_node each) {
    return attributeOf(childOf(each, "SegmentEncryption"), "encryptionSystemUri")
               .find("aes128-gcm") != std::string_view::npos;
  });
}

bool hasVideoAndAudioCodecs(const std::vector<std::string>& codecs) {
  const auto pictures = std::count_if(codecs.begin(), codecs.end(),
                                      [](const auto& codec) { return isVideoCodec(codec); });
  return pictures > 0 && static_cast<std::size_t>(pictures) < codecs.size();
}

}  // namespace streaming
