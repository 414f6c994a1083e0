#include "streaming/manifest/DASHSets.h"

#include <algorithm>
#include <cctype>

#include "platform/media/MediaFacts.h"
#include "streaming/manifest/CodecNames.h"

namespace streaming {
namespace {

constexpr std::size_t kLongestName = 256;

struct Meaning {
  std::string_view scheme;
  std::string_view value;
  std::string_view characteristic;
};
constexpr std::string_view kRoles = "urn:mpeg:dash:role:2011";
constexpr std::string_view kPurposes = "urn:tva:metadata:cs:AudioPurposeCS:2007";
constexpr std::string_view kCaptions = "urn:scte:dash:cc:cea-608:2015";
constexpr Meaning kMeanings[] = {
    {kRoles, "alternate", platform::kMediaOptionAuxiliary},
    {kRoles, "supplementary", platform::kMediaOptionAuxiliary},
    {kRoles, "commentary", platform::kMediaOptionCommentary},
    {kRoles, "caption", platform::kMediaOptionHardOfHearing},
    {kRoles, "description", platform::kMediaOptionDescribesVideo},
    {kPurposes, "1", platform::kMediaOptionDescribesVideo},
    {kPurposes, "2", platform::kMediaOptionHardOfHearing},
};
constexpr std::string_view kProtection = "urn:mpeg:dash:mp4protection:2011";

std::string lowerCase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

}  // namespace

std::string_view inheritedAttribute(pugi::xml_node outer, pugi::xml_node inner,
                                    std::string_view name) {
  return hasAttribute(inner, name) ? attributeOf(inner, name) : attributeOf(outer, name);
}

std::optional<MediaKind> dashMediaKind(pugi::xml_node outer, pugi::xml_node inner) {
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
  if (codecs.empty()) return std::nullopt;
  return isPictureCodec(codecs) ? MediaKind::Video : MediaKind::Audio;
}

TextForm dashTextForm(const Representation& representation) {
  if (representation.mimeType == "text/vtt") return TextForm::WebVTT;
  if (representation.mimeType == "application/ttml+xml") return TextForm::TTML;
  if (representation.mimeType == "application/x-subrip") return TextForm::SubRip;
  return TextForm::MP4;
}

void readTrackMeaning(pugi::xml_node set, Track& track) {
  track.language = attributeOf(set, "lang");
  track.name = textOf(childOf(set, "Label")).substr(0, kLongestName);
  for (const pugi::xml_node node : set.children()) {
    if (!isNamed(node, "Role") && !isNamed(node, "Accessibility")) continue;
    const std::string_view scheme = attributeOf(node, "schemeIdUri");
    const std::string_view value = attributeOf(node, "value");
    if (scheme == kRoles && value == "main") track.isDefault = true;
    if (scheme == kRoles && (value == "forced-subtitle" || value == "forced_subtitle"))
      track.isForced = true;
    for (const Meaning& each : kMeanings)
      if (each.scheme == scheme && each.value == value)
        track.characteristics.emplace_back(each.characteristic);
  }
}

/// "CC1=eng;CC3=swe", or a language alone, which is that of the first channel.
void addCaptionTracks(pugi::xml_node set, std::vector<Track>& tracks) {
  for (const pugi::xml_node node : childrenOf(set, "Accessibility")) {
    if (attributeOf(node, "schemeIdUri") != kCaptions) continue;
    std::string_view channels = attributeOf(node, "value");
    constexpr int kChannels = 4;
    for (int count = 0; !channels.empty() && count < kChannels; ++count) {
      const std::string_view each = channels.substr(0, channels.find(';'));
      channels.remove_prefix(std::min(channels.size(), each.size() + 1));
      const auto equals = each.find('=');
      Track captions;
      captions.kind = MediaKind::Text;
      captions.captionChannel = equals == each.npos ? "CC1" : std::string(each.substr(0, equals));
      captions.language = equals == each.npos ? each : each.substr(equals + 1);
      captions.id = captions.captionChannel;
      tracks.push_back(std::move(captions));
    }
  }
}

EssentialUse essentialUse(pugi::xml_node node) {
  EssentialUse use = EssentialUse::Play;
  for (const pugi::xml_node property : childrenOf(node, "EssentialProperty")) {
    const std::string_view scheme = attributeOf(property, "schemeIdUri");
    if (scheme == "http://dashif.org/guidelines/trickmode") use = EssentialUse::KeyFramesOnly;
    // How colours are coded is in the media too.
    else if (!scheme.starts_with("urn:mpeg:mpegB:cicp:"))
      return EssentialUse::LeaveOut;
  }
  return use;
}

std::vector<Protection> protectionsOf(pugi::xml_node node) {
  std::vector<Protection> protections;
  for (const pugi::xml_node each : childrenOf(node, "ContentProtection")) {
    Protection protection;
    const std::string_view scheme = attributeOf(each, "schemeIdUri");
    if (scheme == kProtection)
      protection.scheme = attributeOf(each, "value");
    else
      protection.systemID =
          lowerCase(scheme.substr(std::min(scheme.size(), scheme.rfind(':') + 1)));
    std::string keyID = lowerCase(attributeOf(each, "default_KID"));
    std::erase(keyID, '-');
    if (keyID.size() == 32) protection.keyIDs.push_back(std::move(keyID));
    protections.push_back(std::move(protection));
  }
  return protections;
}

bool holdsPictureAndSound(const std::vector<std::string>& codecs) {
  const auto pictures = std::count_if(codecs.begin(), codecs.end(),
                                      [](const auto& codec) { return isPictureCodec(codec); });
  return pictures > 0 && static_cast<std::size_t>(pictures) < codecs.size();
}

}  // namespace streaming
