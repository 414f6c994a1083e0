#include "media/output/SubtitleCue.h"

#include <algorithm>
#include <string_view>

#include "platform/foundation/Utf8.h"

namespace media {
namespace {

constexpr std::size_t kMaxCueBytes = 4000;
constexpr std::size_t kMaxCueSpans = 64;
constexpr std::size_t kMaxNameBytes = 256;
constexpr std::size_t kMaxSpanClasses = 16;
constexpr std::size_t kMaxMoments = 2;
constexpr std::size_t kImageLimit = 16;
constexpr int kCanvasLimit = 8192;

template <typename T>
void replace(std::optional<T>& value, const std::optional<T>& over) {
  if (over) value = over;
}

bool isInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// Truncates `text` at a character boundary.
void truncate(std::string& text, std::size_t limit) {
  if (text.size() <= limit) return;
  while (limit > 0 && isInsideCharacter(text[limit])) --limit;
  text.resize(limit);
}

/// A replaced byte is longer, so the length is limited afterwards.
void boundName(std::string& name) {
  if (!platform::isValidText(name)) name = platform::replacingInvalidText(name);
  truncate(name, kMaxNameBytes);
}

bool isCharacter(char32_t value) { return value < 0xD800 || (value > 0xDFFF && value <= 0x10FFFF); }

void removeInvalidMark(SubtitleLook& look) {
  if (look.emphasis && !isCharacter(*look.emphasis)) look.emphasis.reset();
}

bool isUsable(const CueImage& image) {
  if (image.canvasWidth <= 0 || image.canvasHeight <= 0 || image.width <= 0 || image.height <= 0)
    return false;
  return image.canvasWidth <= kCanvasLimit && image.canvasHeight <= kCanvasLimit &&
         image.width <= kCanvasLimit && image.height <= kCanvasLimit &&
         image.pixels.size() ==
             static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
}

std::size_t bytesOf(const CueImage& image) { return image.pixels.size() * sizeof image.pixels[0]; }

void settleSpans(SubtitleCue& cue) {
  const auto place = [&](std::size_t at) {
    at = std::min(at, cue.text.size());
    while (at > 0 && at < cue.text.size() && isInsideCharacter(cue.text[at])) --at;
    return at;
  };
  for (SubtitleSpan& span : cue.spans) {
    span.begin = place(span.begin);
    span.end = place(span.end);
  }
  std::erase_if(cue.spans, [](const SubtitleSpan& span) { return span.begin >= span.end; });
  if (cue.spans.size() > kMaxCueSpans) cue.spans.resize(kMaxCueSpans);
}

}  // namespace

void SubtitleLook::put(const SubtitleLook& over) {
  replace(color, over.color);
  replace(background, over.background);
  replace(size, over.size);
  replace(bold, over.bold);
  replace(italic, over.italic);
  replace(underline, over.underline);
  replace(isHidden, over.isHidden);
  replace(edge, over.edge);
  replace(emphasis, over.emphasis);
  replace(annotationSide, over.annotationSide);
}

void bound(SubtitleCue& cue) {
  if (!platform::isValidText(cue.text)) {
    cue.text = platform::replacingInvalidText(cue.text);
    cue.spans.clear();
  }
  truncate(cue.text, kMaxCueBytes);
  boundName(cue.identifier);
  settleSpans(cue);
  for (SubtitleSpan& span : cue.spans) {
    for (std::string* name : {&span.element, &span.annotation, &span.ruby}) boundName(*name);
    if (span.classes.size() > kMaxSpanClasses) span.classes.resize(kMaxSpanClasses);
    if (span.moments.size() > kMaxMoments) span.moments.resize(kMaxMoments);
    for (std::string& name : span.classes) boundName(name);
    removeInvalidMark(span.look);
    for (SpanMoment& moment : span.moments) removeInvalidMark(moment.look);
  }
  removeInvalidMark(cue.look);
  std::size_t bytes = 0;
  std::erase_if(cue.images, [&](const CueImage& image) {
    if (!isUsable(image)) return true;
    const std::size_t more = bytesOf(image);
    if (bytes + more > SubtitleCue::kImageByteLimit) return true;
    bytes += more;
    return false;
  });
  if (cue.images.size() > kImageLimit) cue.images.resize(kImageLimit);
}

void trim(SubtitleCue& cue) {
  constexpr std::string_view kBlank = " \t\n";
  const std::size_t first = std::min(cue.text.find_first_not_of(kBlank), cue.text.size());
  cue.text.erase(0, first);
  cue.text.erase(cue.text.find_last_not_of(kBlank) + 1);
  for (SubtitleSpan& span : cue.spans) {
    span.begin -= std::min(span.begin, first);
    span.end -= std::min(span.end, first);
  }
  settleSpans(cue);
}

void settleMoments(SubtitleCue& cue, double seconds) {
  for (SubtitleSpan& span : cue.spans) {
    for (const SpanMoment& moment : span.moments)
      if (moment.isAt(seconds - cue.start)) span.look = moment.look;
    span.moments.clear();
  }
}

int passedMoments(const SubtitleCue& cue, double seconds) {
  int count = 0;
  for (const SubtitleSpan& span : cue.spans)
    for (const SpanMoment& moment : span.moments)
      if (seconds - cue.start >= moment.time) ++count;
  return count;
}

std::size_t bytesOf(const SubtitleCue& cue) {
  std::size_t bytes = sizeof cue + cue.text.size() + cue.identifier.size() + imageBytesOf(cue);
  for (const SubtitleSpan& each : cue.spans) {
    bytes += sizeof each + each.element.size() + each.annotation.size() + each.ruby.size();
    for (const std::string& name : each.classes) bytes += sizeof(std::string) + name.size();
    bytes += each.moments.size() * sizeof(SpanMoment);
  }
  return bytes;
}

std::size_t imageBytesOf(const SubtitleCue& cue) {
  std::size_t bytes = 0;
  for (const CueImage& each : cue.images) bytes += bytesOf(each);
  return bytes;
}

}  // namespace media
