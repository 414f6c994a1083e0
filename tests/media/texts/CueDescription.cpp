#include "tests/media/texts/CueDescription.h"

#include <cmath>
#include <sstream>

namespace media {
namespace {

void putColor(std::ostream& out, const char* name, const std::optional<platform::Color>& value) {
  if (value)
    out << name << value->red << ',' << value->green << ',' << value->blue << ',' << value->alpha;
}

std::string described(const SubtitleLook& look) {
  std::ostringstream out;
  putColor(out, " c", look.color);
  putColor(out, " bg", look.background);
  if (look.size) out << " x" << std::round(*look.size * 1000) / 1000;
  if (look.bold) out << (*look.bold ? " bold" : " light");
  if (look.italic) out << (*look.italic ? " italic" : " upright");
  if (look.underline) out << (*look.underline ? " under" : " bare");
  if (look.isHidden) out << (*look.isHidden ? " hidden" : " shown");
  if (look.edge) out << " edge" << static_cast<int>(*look.edge);
  if (look.emphasis) out << " mark" << std::hex << static_cast<unsigned>(*look.emphasis);
  if (look.annotationSide) out << " side" << static_cast<int>(*look.annotationSide);
  return out.str();
}

void putRegion(std::ostream& out, const CueRegion& region) {
  out << " region" << region.left << '~' << region.width << ',' << region.y;
  if (region.anchor != 0) out << '@' << region.anchor;
  if (region.lines > 0)
    out << '~' << region.lines << "lines";
  else
    out << '~' << region.height;
  out << "TMB"[static_cast<int>(region.texts)];
  if (region.paddingBefore != 0 || region.paddingAfter != 0)
    out << " padding" << region.paddingBefore << '~' << region.paddingAfter;
  if (region.scrolls) out << " scroll";
  putColor(out, " regionbg", region.background);
}

}  // namespace

std::string described(const SubtitleCue& cue) {
  std::ostringstream out;
  out << cue.start << '+' << cue.duration << ' ' << cue.text << described(cue.look);
  for (const SubtitleSpan& each : cue.spans) {
    out << " [" << cue.text.substr(each.begin, each.end - each.begin) << described(each.look);
    if (!each.ruby.empty()) out << " ruby=" << each.ruby;
    for (const SpanMoment& moment : each.moments)
      out << (moment.kind == SpanMoment::Kind::Past ? " past" : " future") << moment.time << '('
          << described(moment.look) << ')';
    out << ']';
  }
  const CueLayout& layout = cue.layout;
  if (layout.writing == CueLayout::Writing::VerticalToLeft) out << " rl";
  if (layout.writing == CueLayout::Writing::VerticalToRight) out << " lr";
  if (layout.left) out << " left" << *layout.left << '~' << *layout.width;
  if (layout.region) putRegion(out, *layout.region);
  if (layout.y) out << " y" << *layout.y << "TMB"[static_cast<int>(layout.anchor)];
  if (layout.line) out << " line" << *layout.line;
  if (layout.alignment != CueLayout::Alignment::Center)
    out << " align" << static_cast<int>(layout.alignment);
  if (layout.rowAlignment) out << " rows" << static_cast<int>(*layout.rowAlignment);
  if (layout.shear != 0) out << " shear" << std::round(layout.shear * 1000) / 1000;
  putColor(out, " block", layout.background);
  for (const CueImage& each : cue.images)
    out << " image" << each.width << 'x' << each.height << '@' << each.x << ',' << each.y << '/'
        << each.canvasWidth << 'x' << each.canvasHeight;
  return out.str();
}

std::string described(const std::optional<std::vector<SubtitleCue>>& cues) {
  if (!cues) return "nothing";
  std::string text;
  for (const SubtitleCue& each : *cues) text += (text.empty() ? "" : "; ") + described(each);
  return text;
}

}  // namespace media
