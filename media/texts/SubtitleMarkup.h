#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "media/output/SubtitleCue.h"

namespace media {

/// Reads the text of a cue with its tags, as WebVTT, SubRip and Pango write them: `<b>`, `<i>`,
/// `<u>`, `<c.class>`, `<v Name>`, `<lang>`, `<font color=…>`, `<span foreground=…>`, entities, and
/// `{\an8}` for the place. Tags become spans, those that are unknown nothing; what is no tag stays.
///
/// The cue has no times. Bounded by bound().
SubtitleCue cueOfMarkup(std::string_view markup);

/// The text of `&amp;` and its like at the beginning of `text`, and how many bytes it takes there;
/// zero when there is none.
struct Entity {
  std::string text;
  std::size_t size = 0;
};
Entity entityOf(std::string_view text);

}  // namespace media
