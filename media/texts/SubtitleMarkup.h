#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "media/output/SubtitleCue.h"

namespace media {

/// SubRip includes the markup of Pango.
enum class Markup { WebVTT, SubRip };

/// Reads the text of a cue with its markup: `<b>`, `<i>`, `<u>`, `<c.class>`, `<v Name>`, `<lang>`,
/// `<ruby>`, `<font color=…>`, `<span foreground=…>`, entities, and in SubRip the alignment
/// override `{\an8}`. Each tag becomes a span; unknown tags have no look. Text that only resembles
/// a tag is kept as it is. The text of `<rt>` becomes the ruby of a span; that of `<rp>` is
/// dropped.
///
/// Time stamps of WebVTT (`<00:01.500>`) give the spans moments, whose times are the time stamps.
/// A text that has time stamps beside it in its element becomes a span without a name. Time stamps
/// that are not after the one before are ignored.
///
/// The times of the cue are not set. Its size is limited by bound(). The work is linear.
SubtitleCue cueOfMarkup(std::string_view markup, Markup kind = Markup::SubRip);

/// An entity such as `&amp;` at the beginning of a text: its meaning and its length in bytes, or 0.
struct Entity {
  std::string text;
  std::size_t size = 0;
};
Entity entityOf(std::string_view text);

}  // namespace media
