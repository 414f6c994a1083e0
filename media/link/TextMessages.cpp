#include "media/link/TextMessages.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace media {
namespace {

using Kind = TextChange::Kind;

constexpr std::size_t kPartBytes = std::size_t{1} << 20;
constexpr std::size_t kNameBytes = 256;
constexpr std::size_t kMaxClasses = 16;
constexpr std::size_t kMaxSpans = 64;
constexpr std::size_t kMaxMoments = 2;
constexpr std::size_t kMaxImages = 16;
constexpr std::int32_t kMaxPixels = 1 << 16;

/// Truncates `text` at a character boundary.
std::string_view truncated(std::string_view text) {
  if (text.size() <= kNameBytes) return text;
  std::size_t end = kNameBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

std::string takeName(WireReader& reader) {
  std::string name = reader.takeText();
  if (name.size() > kNameBytes) reader.fail();
  return name;
}

/// A relative font size, limited to what style sheets allow.
double takeLetterSize(WireReader& reader) { return std::clamp(reader.takeFinite(), 0.25, 4.0); }

/// A fraction of the picture.
double takeShare(WireReader& reader) {
  constexpr double kMax = 100;
  return std::clamp(reader.takeFinite(), -kMax, kMax);
}

std::int32_t takeWithin(WireReader& reader, std::int32_t first, std::int32_t last) {
  const auto value = reader.take<std::int32_t>();
  if (value < first || value > last) reader.fail();
  return value;
}

void put(WireWriter& writer, const std::optional<platform::Color>& color) {
  writer.put(color.has_value());
  if (color) writer.put(color->red).put(color->green).put(color->blue).put(color->alpha);
}

std::optional<platform::Color> takeColor(WireReader& reader) {
  return reader.takeOptional([](WireReader& from) {
    const auto share = [&] { return static_cast<float>(std::clamp(from.takeFinite(), 0.0, 1.0)); };
    platform::Color color;
    color.red = share();
    color.green = share();
    color.blue = share();
    color.alpha = share();
    return color;
  });
}

void put(WireWriter& writer, const SubtitleLook& look) {
  put(writer, look.color);
  put(writer, look.background);
  writer.put(look.size).put(look.bold).put(look.italic).put(look.underline).put(look.isHidden);
  writer.put(look.edge);
  writer.put(look.emphasis.has_value());
  if (look.emphasis) writer.put(static_cast<std::uint32_t>(*look.emphasis));
  writer.put(look.annotationSide);
}

SubtitleLook takeLook(WireReader& reader) {
  const auto flag = [](WireReader& from) { return from.take<bool>(); };
  SubtitleLook look;
  look.color = takeColor(reader);
  look.background = takeColor(reader);
  look.size = reader.takeOptional(takeLetterSize);
  look.bold = reader.takeOptional(flag);
  look.italic = reader.takeOptional(flag);
  look.underline = reader.takeOptional(flag);
  look.isHidden = reader.takeOptional(flag);
  look.edge =
      reader.takeOptional([](WireReader& from) { return from.takeEnum(TextEdge::Depressed); });
  look.emphasis = reader.takeOptional(
      [](WireReader& from) { return static_cast<char32_t>(from.take<std::uint32_t>()); });
  look.annotationSide =
      reader.takeOptional([](WireReader& from) { return from.takeEnum(AnnotationSide::Outside); });
  return look;
}

SpanMoment takeMoment(WireReader& reader) {
  SpanMoment moment;
  moment.kind = reader.takeEnum(SpanMoment::Kind::Future);
  moment.time = reader.takeFinite();
  moment.look = takeLook(reader);
  return moment;
}

void put(WireWriter& writer, const SubtitleSpan& span) {
  writer.put(static_cast<std::uint32_t>(span.begin)).put(static_cast<std::uint32_t>(span.end));
  writer.put(truncated(span.element)).put(truncated(span.annotation)).put(truncated(span.ruby));
  const std::size_t classes = std::min(span.classes.size(), kMaxClasses);
  writer.putCount(classes);
  for (std::size_t index = 0; index < classes; ++index) writer.put(truncated(span.classes[index]));
  put(writer, span.look);
  writer.putList(span.moments, [](WireWriter& to, const SpanMoment& each) {
    to.put(each.kind).put(each.time);
    put(to, each.look);
  });
}

SubtitleSpan takeSpan(WireReader& reader) {
  SubtitleSpan span;
  span.begin = reader.take<std::uint32_t>();
  span.end = reader.take<std::uint32_t>();
  span.element = takeName(reader);
  span.annotation = takeName(reader);
  span.ruby = takeName(reader);
  span.classes = reader.takeList(kMaxClasses, takeName);
  span.look = takeLook(reader);
  span.moments = reader.takeList(kMaxMoments, takeMoment);
  return span;
}

void put(WireWriter& writer, const CueRegion& region) {
  writer.put(region.left).put(region.width).put(region.y).put(region.anchor).put(region.height);
  writer.put(region.paddingBefore).put(region.paddingAfter);
  writer.put(region.lines).put(region.texts).put(region.scrolls);
  put(writer, region.background);
}

CueRegion takeRegion(WireReader& reader) {
  CueRegion region;
  for (double* const value :
       {&region.left, &region.width, &region.y, &region.anchor, &region.height,
        &region.paddingBefore, &region.paddingAfter, &region.lines})
    *value = takeShare(reader);
  region.texts = reader.takeEnum(CueAnchor::Bottom);
  region.scrolls = reader.take<bool>();
  region.background = takeColor(reader);
  return region;
}

void put(WireWriter& writer, const CueLayout& layout) {
  writer.put(layout.writing);
  writer.put(layout.left).put(layout.width).put(layout.alignment).put(layout.anchor).put(layout.y);
  writer.put(layout.line.has_value());
  if (layout.line) writer.put(static_cast<std::int32_t>(*layout.line));
  writer.put(layout.rowAlignment).put(layout.shear).put(layout.readsDownwards);
  writer.put(layout.region.has_value());
  if (layout.region) put(writer, *layout.region);
  put(writer, layout.background);
}

CueLayout takeLayout(WireReader& reader) {
  using Alignment = CueLayout::Alignment;
  CueLayout layout;
  layout.writing = reader.takeEnum(CueLayout::Writing::VerticalToRight);
  layout.left = reader.takeOptional(takeShare);
  layout.width = reader.takeOptional(takeShare);
  layout.alignment = reader.takeEnum(CueLayout::Alignment::Right);
  layout.anchor = reader.takeEnum(CueLayout::Anchor::Bottom);
  layout.y = reader.takeOptional(takeShare);
  layout.line = reader.takeOptional(
      [](WireReader& from) -> int { return takeWithin(from, -kMaxPixels, kMaxPixels); });
  layout.rowAlignment =
      reader.takeOptional([](WireReader& from) { return from.takeEnum(Alignment::Right); });
  layout.shear = takeShare(reader);
  layout.readsDownwards = reader.take<bool>();
  layout.region = reader.takeOptional(takeRegion);
  layout.background = takeColor(reader);
  return layout;
}

void put(WireWriter& writer, const CueImage& image) {
  for (const int value :
       {image.canvasWidth, image.canvasHeight, image.x, image.y, image.width, image.height})
    writer.put(static_cast<std::int32_t>(value));
  // In the byte order of the machine, on which both processes run.
  writer.put(std::as_bytes(std::span(image.pixels)));
}

CueImage takeImage(WireReader& reader) {
  CueImage image;
  for (int* const value :
       {&image.canvasWidth, &image.canvasHeight, &image.x, &image.y, &image.width, &image.height})
    *value = takeWithin(reader, -kMaxPixels, kMaxPixels);
  const std::vector<std::byte> bytes = reader.takeBytes();
  if (bytes.size() % 4 != 0 || bytes.size() > SubtitleCue::kImageByteLimit) reader.fail();
  if (reader.failed()) return {};
  image.pixels.resize(bytes.size() / 4);
  if (!bytes.empty()) std::memcpy(image.pixels.data(), bytes.data(), bytes.size());
  return image;
}

void putCue(WireWriter& writer, const std::shared_ptr<const SubtitleCue>& cue) {
  writer.put(cue->start).put(cue->duration).put(cue->endsAtNext).put(cue->order);
  writer.put(cue->text).put(truncated(cue->identifier));
  put(writer, cue->look);
  writer.putList(cue->spans, [](WireWriter& to, const SubtitleSpan& each) { put(to, each); });
  put(writer, cue->layout);
  const bool hasImages = imageBytesOf(*cue) <= SubtitleCue::kImageByteLimit;
  writer.putList(hasImages ? cue->images : std::vector<CueImage>{},
                 [](WireWriter& to, const CueImage& each) { put(to, each); });
}

std::shared_ptr<const SubtitleCue> takeCue(WireReader& reader) {
  SubtitleCue cue;
  cue.start = reader.takeFinite();
  cue.duration = reader.takeFinite();
  cue.endsAtNext = reader.take<bool>();
  cue.order = reader.take<std::int32_t>();
  cue.text = reader.takeText();
  cue.identifier = takeName(reader);
  cue.look = takeLook(reader);
  cue.spans = reader.takeList(kMaxSpans, takeSpan);
  cue.layout = takeLayout(reader);
  cue.images = reader.takeList(kMaxImages, takeImage);
  bound(cue);
  return std::make_shared<const SubtitleCue>(std::move(cue));
}

}  // namespace

std::vector<TextChange> splitChange(TextChange change) {
  std::vector<TextChange> parts;
  SubtitleCues::Cues cues = std::move(change.cues);
  change.cues.clear();
  std::size_t bytes = 0;
  parts.push_back(change);
  for (auto& cue : cues) {
    const std::size_t more = bytesOf(*cue);
    if (bytes > 0 && bytes + more > kPartBytes) {
      if (change.kind == Kind::SetExternal) change.kind = Kind::AddExternal;
      parts.push_back(change);
      bytes = 0;
    }
    bytes += more;
    parts.back().cues.push_back(std::move(cue));
  }
  return parts;
}

void write(WireWriter& writer, const TextChange& change) {
  writer.put(change.identity).put(change.kind).put(change.source);
  writer.putList(change.cues, putCue);
}

std::optional<TextChange> readTextChange(WireReader& reader) {
  TextChange change;
  change.identity = reader.take<std::uint64_t>();
  if (change.identity == 0) reader.fail();
  change.kind = reader.takeEnum(Kind::Destroyed);
  change.source = reader.takeEnum(SubtitleCues::Source::External);
  change.cues = reader.takeList(SubtitleCues::kCueLimit, takeCue);
  if (!reader.isAtEnd()) return std::nullopt;
  return change;
}

}  // namespace media
