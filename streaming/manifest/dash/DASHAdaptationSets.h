#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/manifest/Presentation.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// Longer names and languages are truncated. Longer IDs are rejected.
inline constexpr std::size_t kMaxDASHNameLength = 256;

/// The media kind of the ContentComponent elements. Video takes precedence over audio.
std::optional<MediaKind> dashComponentKind(pugi::xml_node set);
/// The media kind of a set or representation, from content type, MIME type and codecs. Attributes
/// of `inner` override those of `outer`; `components` is the fallback. nullopt: not supported.
std::optional<MediaKind> dashMediaKind(pugi::xml_node outer, pugi::xml_node inner,
                                       std::optional<MediaKind> components);

TextFormat dashTextFormat(const Representation& representation);

/// The attribute of `inner`, or of `outer` if `inner` does not have it.
std::string_view inheritedAttribute(pugi::xml_node outer, pugi::xml_node inner,
                                    std::string_view name);

/// Reads language, label, roles and accessibility of an adaptation set.
void readTrackAttributes(pugi::xml_node set, Track& track);
std::vector<Track> captionTracks(pugi::xml_node set);
/// The language of the ContentComponent of type `kind`, or of the set; may be empty.
std::string languageWithin(pugi::xml_node set, std::string_view kind);
bool hasVideoAndAudioComponents(pugi::xml_node set);

enum class EssentialUse { Play, KeyFramesOnly, LeaveOut };
EssentialUse essentialUse(pugi::xml_node node);
bool isTrickModeScheme(std::string_view scheme);

std::vector<Protection> protectionsOf(const std::vector<pugi::xml_node>& nodes);
/// The ContentProtection elements, up to a limit.
std::vector<pugi::xml_node> protectionNodesOf(pugi::xml_node node);
/// The segments use an unsupported encryption.
bool hasUnknownSegmentEncryption(const std::vector<pugi::xml_node>& protections);

bool hasVideoAndAudioCodecs(const std::vector<std::string>& codecs);

}  // namespace streaming
