#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "media/output/SubtitleCue.h"

namespace media {

/// Reads the text of a cue with the markup of WebVTT, SubRip and Pango: `<b>`, `<i>`, `<u>`,
/// `<c.class>`, `<v Name>`, `<lang>`, `<font color=…>`, `<span foreground=…>`, entities, and the
/// alignment override `{\an8}`. Each tag becomes a span; unknown tags have no look. Text that only
/// resembles a tag is kept as it is.
///
/// The times of the cue are not set. Its size is limited by bound().
SubtitleCue cueOfMarkup(std::string_view markup);

/// An entity such as `&amp;` at the beginning of a text: its meaning and its length in bytes, or 0.
struct Entity {
  std::string text;
  std::size_t size = 0;
};
Entity entityOf(std::string_view text);

}  // namespace media
