#include "media/texts/WebVTTText.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "media/output/SubtitleColor.h"
#include "media/texts/SubtitleMarkup.h"
#include "media/texts/TextLines.h"
#include "media/texts/WebVTTTime.h"
#include "platform/foundation/Utf8.h"

namespace media {
namespace {

using Alignment = CueLayout::Alignment;
using Anchor = CueLayout::Anchor;
using Writing = CueLayout::Writing;

constexpr std::size_t kMaxVTTRegions = 32;
constexpr std::string_view kArrow = "-->";
/// The height of a line of a region as a fraction of the picture's height (5.33vh).
constexpr double kRegionLine = 0.0533;

bool isVTTDigit(char byte) { return byte >= '0' && byte <= '9'; }

/// Reads times leniently: hours may be missing, and the fraction has a comma or a point.
std::optional<double> takeSubRipTime(std::string_view& text) {
  double seconds = 0;
  for (int part = 0; part < 3; ++part) {
    const auto number = takeNumber(text);
    if (!number || *number < 0) return std::nullopt;
    seconds = seconds * 60 + *number;
    if (takeCharacter(text, ':')) continue;
    if (text.size() > 1 && text[0] == ',' && isVTTDigit(text[1])) {
      text.remove_prefix(1);
      const std::string_view digits = takeDigits(text).substr(0, 9);
      double fraction = 0;
      for (const char each : digits) fraction = fraction * 10 + (each - '0');
      seconds += fraction / std::pow(10, digits.size());
    }
    return part > 0 ? std::optional(seconds) : std::nullopt;
  }
  return std::nullopt;
}

struct Times {
  double start = 0;
  double end = 0;
};

/// Removes "from --> to" from the beginning of `line`.
template <typename TakeTime>
std::optional<Times> takeTimes(std::string_view& line, const TakeTime& takeTime) {
  line = trimmed(line);
  const auto start = takeTime(line);
  line = trimmed(line);
  if (!start || !line.starts_with(kArrow)) return std::nullopt;
  line = trimmed(line.substr(kArrow.size()));
  const auto end = takeTime(line);
  if (!end || *end <= *start) return std::nullopt;
  return Times{*start, *end};
}

/// Reads digits with an optional fraction, and "%" at the end. Returns a fraction of 1.
std::optional<double> percentage(std::string_view text) {
  if (!text.ends_with('%') || text.size() > 32) return std::nullopt;
  text.remove_suffix(1);
  std::string_view rest = text;
  const auto digits = takeDigits(rest);
  if (digits.empty()) return std::nullopt;
  if (takeCharacter(rest, '.') && takeDigits(rest).empty()) return std::nullopt;
  const auto number = rest.empty() ? takeNumber(text) : std::nullopt;
  if (!number || *number > 100) return std::nullopt;
  return *number / 100;
}

/// Splits "value,keyword".
std::pair<std::string_view, std::string_view> splitAtComma(std::string_view text) {
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) return {text, {}};
  return {text.substr(0, comma), text.substr(comma + 1)};
}

/// Reads "x%,y%".
void readPoint(std::string_view text, double& x, double& y) {
  const auto [first, second] = splitAtComma(text);
  const auto newX = percentage(first);
  const auto newY = percentage(second);
  if (!newX || !newY) return;
  x = *newX;
  y = *newY;
}

/// Calls `use(name, value)` for each "name:value".
template <typename Use>
void forEachSetting(std::string_view settings, const Use& use) {
  while (!(settings = trimmed(settings)).empty()) {
    const std::size_t end = std::min(settings.find_first_of(" \t\n\f"), settings.size());
    const std::string_view setting = settings.substr(0, end);
    const std::size_t colon = setting.find(':');
    if (colon != std::string_view::npos && colon > 0 && colon + 1 < setting.size())
      use(setting.substr(0, colon), setting.substr(colon + 1));
    settings.remove_prefix(end);
  }
}

void readLine(std::string_view value, CueLayout& layout) {
  const auto [place, edge] = splitAtComma(value);
  const bool hasEdge = place.size() != value.size();
  if (hasEdge && edge != "start" && edge != "center" && edge != "end") return;
  if (place.ends_with('%')) {
    const auto share = percentage(place);
    if (!share) return;
    layout.y = share;
    layout.line.reset();
    layout.anchor = edge == "center" ? Anchor::Middle
                    : edge == "end"  ? Anchor::Bottom
                                     : Anchor::Top;
    return;
  }
  constexpr double kMaxLine = 1000;
  std::string_view rest = place;
  const auto number = takeNumber(rest);
  if (!number || !rest.empty() || place.starts_with('+')) return;
  layout.y.reset();
  layout.line = static_cast<int>(std::lround(std::clamp(*number, -kMaxLine, kMaxLine)));
  layout.anchor = *layout.line < 0 ? Anchor::Bottom : Anchor::Top;
}

std::optional<Alignment> sideOfPosition(std::string_view name) {
  if (name == "line-left") return Alignment::Left;
  if (name == "center") return Alignment::Center;
  if (name == "line-right") return Alignment::Right;
  return std::nullopt;
}

void moveMoments(SubtitleCue& cue, double seconds) {
  for (SubtitleSpan& span : cue.spans)
    for (SpanMoment& moment : span.moments) moment.time += seconds;
}

/// The side of a cue's box that is at its position, if the settings do not name one.
Alignment automaticSide(const SubtitleCue& cue) {
  switch (cue.layout.alignment) {
    case Alignment::Start:
      return platform::runsRightToLeft(cue.text) ? Alignment::Right : Alignment::Left;
    case Alignment::End:
      return platform::runsRightToLeft(cue.text) ? Alignment::Left : Alignment::Right;
    default:
      return cue.layout.alignment;
  }
}

}  // namespace

bool isWebVTT(std::string_view text) {
  text = withoutByteOrderMark(text);
  constexpr std::string_view kName = "WEBVTT";
  return text.starts_with(kName) &&
         (text.size() == kName.size() || trimmed(text.substr(kName.size(), 1)).empty());
}

std::vector<SubtitleCue> WebVTTReader::read(std::string_view text) {
  const std::string plain = normalizedLines(text);
  CueList cues;
  bool seenCue = false;
  std::string_view rest = plain;
  if (isWebVTT(rest)) takeLine(rest);
  while (!rest.empty() && !cues.isFull()) {
    // One block: lines up to an empty line, or up to another line of times.
    std::optional<Times> times;
    std::string_view settings;
    std::string_view identifier;
    bool seenArrow = false;
    const char* content = nullptr;
    std::size_t contentSize = 0;
    for (std::size_t lines = 1; !rest.empty(); ++lines) {
      const std::string_view before = rest;
      std::string_view line = takeLine(rest);
      if (line.empty()) break;
      if (line.find(kArrow) != std::string_view::npos) {
        if (lines > 2 || seenArrow) {
          rest = before;
          break;
        }
        seenArrow = true;
        if (content) identifier = {content, contentSize};
        times = takeTimes(line, takeVTTTime);
        settings = line;
        seenCue = seenCue || times;
        content = nullptr;
        contentSize = 0;
        continue;
      }
      if (!content) content = line.data();
      contentSize = static_cast<std::size_t>(line.data() + line.size() - content);
    }
    const std::string_view block = content ? std::string_view(content, contentSize) : "";
    if (times) {
      auto cue = _cueOf(identifier, settings, block, times->start);
      if (!cue) continue;
      cue->start = times->start;
      cue->duration = times->end - times->start;
      if (!cues.add(std::move(*cue))) break;
    } else if (!seenArrow && !seenCue) {
      std::string_view head = block;
      const std::string_view name = takeLine(head);
      _readHeadBlock(name, head);
    }
  }
  return cues.take();
}

void WebVTTReader::_readHeadBlock(std::string_view name, std::string_view content) {
  const std::string_view kind = trimmed(name);
  if (kind == "STYLE") _styles.addSheet(content);
  if (kind == "REGION") _readRegion(content);
}

std::optional<SubtitleCue> WebVTTReader::_cueOf(std::string_view identifier,
                                                std::string_view settings, std::string_view text,
                                                double origin) const {
  SubtitleCue cue = cueOfMarkup(text, Markup::WebVTT);
  if (cue.isEmpty()) return std::nullopt;
  moveMoments(cue, -origin);
  cue.identifier = identifier;
  _readSettings(settings, cue);
  _styles.applyTo(cue);
  return cue;
}

std::optional<SubtitleCue> WebVTTReader::readPayload(std::string_view payload, double start,
                                                     double duration, TimeStamps timeStamps) const {
  const std::string plain = normalizedLines(payload);
  std::string_view rest = plain;
  const std::string_view identifier = trimmed(takeLine(rest));
  const std::string_view settings = takeLine(rest);
  auto cue = _cueOf(identifier, settings, rest, timeStamps == TimeStamps::OfTrack ? start : 0.0);
  if (!cue) return cue;
  cue->start = start;
  cue->duration = duration;
  const bool mayBeWrong = timeStamps == TimeStamps::OfCue && duration != SubtitleCue::kUntilNext;
  const auto isInCue = [&](const SubtitleSpan& span) {
    return std::any_of(span.moments.begin(), span.moments.end(),
                       [&](const SpanMoment& moment) { return moment.time < duration; });
  };
  if (mayBeWrong && std::none_of(cue->spans.begin(), cue->spans.end(), isInCue))
    moveMoments(*cue, -start);
  return cue;
}

void WebVTTReader::_readSettings(std::string_view settings, SubtitleCue& cue) const {
  CueLayout& layout = cue.layout;
  std::optional<double> position;
  std::optional<double> size;
  std::optional<Alignment> side;
  const Region* region = nullptr;
  forEachSetting(settings, [&](std::string_view name, std::string_view value) {
    if (name == "vertical") {
      if (value == "rl") layout.writing = Writing::VerticalToLeft;
      if (value == "lr") layout.writing = Writing::VerticalToRight;
    } else if (name == "line") {
      readLine(value, layout);
    } else if (name == "align") {
      if (value != "middle") layout.alignment = alignmentOf(value).value_or(layout.alignment);
    } else if (name == "size") {
      if (const auto number = percentage(value)) size = number;
    } else if (name == "position") {
      const auto [number, edge] = splitAtComma(value);
      const bool hasEdge = number.size() != value.size();
      if (const auto share = percentage(number); share && (!hasEdge || sideOfPosition(edge))) {
        position = share;
        side = sideOfPosition(edge);
      }
    } else if (name == "region") {
      region = _regionNamed(value);
    }
  });
  const bool hasPlace =
      layout.line || layout.y || layout.writing != Writing::Horizontal || size.value_or(1) != 1;
  if (hasPlace) region = nullptr;
  if (position || size || region || layout.alignment != Alignment::Center) {
    const double usual = layout.alignment == Alignment::Left    ? 0
                         : layout.alignment == Alignment::Right ? 1
                                                                : 0.5;
    setPosition(layout, position.value_or(usual), size.value_or(1),
                side.value_or(automaticSide(cue)));
  }
  if (!region) return;
  CueRegion box;
  box.width = region->width;
  box.left = region->viewportX - region->anchorX * region->width;
  box.y = region->viewportY;
  box.anchor = region->anchorY;
  box.lines = region->lines;
  box.height = region->lines * kRegionLine;
  box.scrolls = region->scrolls;
  layout.left = box.left + *layout.left * box.width;
  layout.width = *layout.width * box.width;
  layout.region = box;
}

void WebVTTReader::_readRegion(std::string_view settings) {
  if (_regions.size() >= kMaxVTTRegions) return;
  Region region;
  forEachSetting(settings, [&](std::string_view name, std::string_view value) {
    if (name == "id") region.identifier = value.substr(0, 256);
    if (name == "width") region.width = percentage(value).value_or(region.width);
    if (name == "regionanchor") readPoint(value, region.anchorX, region.anchorY);
    if (name == "viewportanchor") readPoint(value, region.viewportX, region.viewportY);
    if (name == "scroll") region.scrolls = value == "up";
    if (name == "lines" && std::all_of(value.begin(), value.end(), isVTTDigit))
      region.lines = std::clamp(takeNumber(value).value_or(region.lines), 1.0, 100.0);
  });
  _regions.push_back(std::move(region));
}

const WebVTTReader::Region* WebVTTReader::_regionNamed(std::string_view identifier) const {
  const auto region = std::find_if(_regions.rbegin(), _regions.rend(), [&](const Region& each) {
    return each.identifier == identifier;
  });
  return region == _regions.rend() ? nullptr : &*region;
}

std::vector<SubtitleCue> cuesOfSubRip(std::string_view text) {
  const std::string plain = normalizedLines(text);
  CueList cues;
  forEachTextBlock(plain, [&](std::string_view block) {
    // The number at the beginning is optional.
    std::string_view line = takeLine(block);
    if (line.find(kArrow) == std::string_view::npos) line = takeLine(block);
    const auto times = takeTimes(line, takeSubRipTime);
    if (!times || cues.isFull()) return;
    SubtitleCue cue = cueOfMarkup(block, Markup::SubRip);
    if (cue.isEmpty()) return;
    cue.start = times->start;
    cue.duration = times->end - times->start;
    cues.add(std::move(cue));
  });
  return cues.take();
}

}  // namespace media
