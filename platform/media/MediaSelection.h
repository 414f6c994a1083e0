#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Characteristics of selection groups.
inline constexpr std::string_view kMediaCharacteristicAudible = "audible";
inline constexpr std::string_view kMediaCharacteristicLegible = "legible";
inline constexpr std::string_view kMediaCharacteristicVisual = "visual";  ///< angles, variants

// Characteristics of options.
inline constexpr std::string_view kMediaOptionDefault = "default";      ///< marked by the author
inline constexpr std::string_view kMediaOptionAuxiliary = "auxiliary";  ///< never auto-selected
inline constexpr std::string_view kMediaOptionHardOfHearing = "hard-of-hearing";
inline constexpr std::string_view kMediaOptionTranscribes = "transcribes-spoken-dialog";
inline constexpr std::string_view kMediaOptionDescribesVideo = "describes-video";
inline constexpr std::string_view kMediaOptionCommentary = "commentary";
inline constexpr std::string_view kMediaOptionOutOfBand = "out-of-band";  ///< not in the media

struct MediaSelectionOption {
  std::string identifier;  ///< constant while the item is loaded
  std::string displayName;
  std::string languageTag;                        ///< BCP 47; empty if unknown
  bool forced = false;                            ///< subtitles for foreign dialog only
  std::vector<std::string> characteristics = {};  ///< kMediaOption…
  friend bool operator==(const MediaSelectionOption&, const MediaSelectionOption&) = default;
};

/// The options of one characteristic and which of them is selected.
struct MediaSelectionGroup {
  std::string characteristic;
  std::vector<MediaSelectionOption> options;
  std::optional<std::size_t> selected;
  bool allowsEmptySelection = true;
  friend bool operator==(const MediaSelectionGroup&, const MediaSelectionGroup&) = default;
};

}  // namespace platform
