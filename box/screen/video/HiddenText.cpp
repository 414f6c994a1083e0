#include "box/screen/video/HiddenText.h"

#include <algorithm>

namespace box {

HiddenText::HiddenText(const media::SubtitleCue& cue) {
  std::vector<std::size_t> places{0, cue.text.size()};
  for (const media::SubtitleSpan& span : cue.spans)
    if (span.look.isHidden) places.insert(places.end(), {span.begin, span.end});
  std::sort(places.begin(), places.end());
  for (std::size_t index = 0; index + 1 < places.size(); ++index) {
    const Part part{places[index], places[index + 1]};
    bool isHidden = cue.look.isHidden.value_or(false);
    // An inner span comes after its outer span.
    for (const media::SubtitleSpan& span : cue.spans)
      if (span.look.isHidden && span.begin <= part.begin && part.end <= span.end)
        isHidden = *span.look.isHidden;
    if (isHidden && part.begin < part.end) _parts.push_back(part);
  }
}

bool HiddenText::contains(std::size_t at) const {
  return std::any_of(_parts.begin(), _parts.end(),
                     [at](const Part& part) { return at >= part.begin && at < part.end; });
}

void HiddenText::appendAttributes(PangoAttrList* list) const {
  for (const Part& part : _parts) {
    PangoAttribute* const attribute = pango_attr_underline_new(PANGO_UNDERLINE_NONE);
    attribute->start_index = static_cast<guint>(part.begin);
    attribute->end_index = static_cast<guint>(part.end);
    pango_attr_list_change(list, attribute);
  }
}

void HiddenText::eraseFrom(PangoLayoutLine* line) const {
  if (_parts.empty()) return;
  for (const GSList* each = line->runs; each; each = each->next) {
    const auto* const run = static_cast<const PangoLayoutRun*>(each->data);
    PangoGlyphString& glyphs = *run->glyphs;
    for (std::ptrdiff_t index = 0; index < glyphs.num_glyphs; ++index) {
      const int at = run->item->offset + glyphs.log_clusters[index];
      if (contains(static_cast<std::size_t>(at))) glyphs.glyphs[index].glyph = PANGO_GLYPH_EMPTY;
    }
  }
}

}  // namespace box
