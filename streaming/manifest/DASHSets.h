#pragma once

#include <optional>
#include <string>
#include <vector>

#include "streaming/manifest/Presentation.h"
#include "streaming/manifest/XMLTree.h"

namespace streaming {

/// What kind of media a set or a representation is of, by content type, MIME type and codecs; what
/// `outer` says counts where `inner` says nothing. None for what nobody plays.
std::optional<MediaKind> dashMediaKind(pugi::xml_node outer, pugi::xml_node inner);

/// The text form of a representation of that kind.
TextForm dashTextForm(const Representation& representation);

/// An attribute of `inner`, or else of `outer`.
std::string_view inheritedAttribute(pugi::xml_node outer, pugi::xml_node inner,
                                    std::string_view name);

/// Language, name, roles and accessibility of an adaptation set.
void readTrackMeaning(pugi::xml_node set, Track& track);
/// Captions within the picture that a set announces.
void addCaptionTracks(pugi::xml_node set, std::vector<Track>& tracks);

enum class EssentialUse { Play, KeyFramesOnly, LeaveOut };
/// What the essential properties of a set or representation allow.
EssentialUse essentialUse(pugi::xml_node node);

std::vector<Protection> protectionsOf(pugi::xml_node node);

/// The codecs hold both picture and sound.
bool holdsPictureAndSound(const std::vector<std::string>& codecs);

}  // namespace streaming
