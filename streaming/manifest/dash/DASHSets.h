#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "streaming/manifest/Presentation.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// Longer names and languages are cut, longer identifiers are not used.
inline constexpr std::size_t kLongestDASHName = 256;

/// The kind that the ContentComponent elements of a set name: the picture, or else the sound.
std::optional<MediaKind> dashComponentKind(pugi::xml_node set);
/// What kind of media a set or a representation is of, by content type, MIME type and codecs; what
/// `outer` says counts where `inner` says nothing, and `components` where neither does. None for
/// what nobody plays.
std::optional<MediaKind> dashMediaKind(pugi::xml_node outer, pugi::xml_node inner,
                                       std::optional<MediaKind> components);

/// The text form of a representation of that kind.
TextForm dashTextForm(const Representation& representation);

/// An attribute of `inner`, or else of `outer`.
std::string_view inheritedAttribute(pugi::xml_node outer, pugi::xml_node inner,
                                    std::string_view name);

/// Language, name, roles and accessibility of an adaptation set.
void readTrackMeaning(pugi::xml_node set, Track& track);
/// Captions within the picture that a set announces.
std::vector<Track> captionTracks(pugi::xml_node set);
/// The language that a ContentComponent of that kind ("audio") has; empty when nothing is said.
std::string languageWithin(pugi::xml_node set, std::string_view kind);
/// Its segments hold both picture and sound, as the set itself says.
bool hasPictureAndSoundComponents(pugi::xml_node set);

enum class EssentialUse { Play, KeyFramesOnly, LeaveOut };
/// What the essential properties of an element allow.
EssentialUse essentialUse(pugi::xml_node node);
bool isTrickModeScheme(std::string_view scheme);

std::vector<Protection> protectionsOf(const std::vector<pugi::xml_node>& nodes);
/// The first ContentProtection elements of a set or a representation.
std::vector<pugi::xml_node> protectionNodesOf(pugi::xml_node node);
/// Segments are encrypted in a way that is not known here.
bool hasUnknownSegmentEncryption(const std::vector<pugi::xml_node>& protections);

/// The codecs hold both picture and sound.
bool holdsPictureAndSound(const std::vector<std::string>& codecs);

}  // namespace streaming
