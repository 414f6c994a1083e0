#include "media/texts/WebVTTText.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "media/output/SubtitleColor.h"
#include "media/output/SubtitleCues.h"
#include "media/texts/SubtitleMarkup.h"

namespace media {
namespace {

using Alignment = CueLayout::Alignment;
using Anchor = CueLayout::Anchor;

constexpr std::size_t kRegionLimit = 32;
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view kArrow = "-->";
/// The height of a line of a region as a fraction of the picture's height (WebVTT: 5.33vh).
constexpr double kRegionLine = 0.0533;

/// Converts all line endings to '\n' and removes the byte order mark.
std::string normalizedLines(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\r')
      plain += text[at];
    else if (at + 1 == text.size() || text[at + 1] != '\n')
      plain += '\n';
  }
  return plain;
}

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

template <typename Use>
void forEachBlock(std::string_view text, const Use& use) {
  while (!text.empty()) {
    const char* begin = text.data();
    std::size_t size = 0;
    while (!text.empty()) {
      const std::string_view line = takeLine(text);
      if (trimmed(line).empty()) break;
      size = static_cast<std::size_t>(line.data() + line.size() - begin);
    }
    if (size > 0) use(std::string_view(begin, size));
  }
}

/// Reads "hours:minutes:seconds.thousandths"; hours may be missing. SubRip has a comma.
std::optional<double> takeTime(std::string_view& text) {
  double seconds = 0;
  for (int part = 0; part < 3; ++part) {
    const auto number = takeNumber(text);
    if (!number || *number < 0) return std::nullopt;
    seconds = seconds * 60 + *number;
    if (!text.starts_with(':')) {
      if (text.size() > 1 && text[0] == ',' && text[1] >= '0' && text[1] <= '9') {
        std::string_view digits = text.substr(1);
        const auto fraction = takeNumber(digits);
        const auto count = static_cast<double>(digits.data() - text.data() - 1);
        if (fraction) seconds += *fraction / std::pow(10, count);
        text = digits;
      }
      return part > 0 ? std::optional(seconds) : std::nullopt;
    }
    text.remove_prefix(1);
  }
  return std::nullopt;
}

struct Times {
  double start = 0;
  double end = 0;
};

/// Removes "from --> to" from the beginning of `line`.
std::optional<Times> takeTimes(std::string_view& line) {
  const auto start = takeTime(line);
  line = trimmed(line);
  if (!start || !line.starts_with(kArrow)) return std::nullopt;
  line.remove_prefix(kArrow.size());
  const auto end = takeTime(line);
  if (!end || *end <= *start) return std::nullopt;
  return Times{*start, *end};
}

std::optional<double> percentage(std::string_view text) {
  const auto number = takeNumber(text);
  if (!number || !text.starts_with('%') || *number < 0 || *number > 100) return std::nullopt;
  return *number / 100;
}

/// Reads "x%,y%".
void readPoint(std::string_view text, double& x, double& y) {
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) return;
  x = percentage(text.substr(0, comma)).value_or(x);
  y = percentage(text.substr(comma + 1)).value_or(y);
}

/// Calls `use(name, value)` for each "name:value" or "name=value".
template <typename Use>
void forEachSetting(std::string_view settings, const Use& use) {
  while (!(settings = trimmed(settings)).empty()) {
    const std::size_t end = std::min(settings.find_first_of(" \t\n"), settings.size());
    const std::string_view setting = settings.substr(0, end);
    const std::size_t colon = setting.find_first_of(":=");
    if (colon != std::string_view::npos) use(setting.substr(0, colon), setting.substr(colon + 1));
    settings.remove_prefix(end);
  }
}

void readLine(std::string_view value, CueLayout& layout) {
  const std::size_t comma = std::min(value.find(','), value.size());
  const std::string_view place = value.substr(0, comma);
  const std::string_view edge = value.substr(std::min(comma + 1, value.size()));
  if (const auto share = percentage(place)) {
    layout.y = share;
    layout.anchor = edge == "center" ? Anchor::Middle
                    : edge == "end"  ? Anchor::Bottom
                                     : Anchor::Top;
    return;
  }
  std::string_view rest = place;
  const auto number = takeNumber(rest);
  if (!number || !rest.empty() || std::abs(*number) > 100) return;
  layout.line = static_cast<int>(*number);
  layout.anchor = *layout.line < 0 ? Anchor::Bottom : Anchor::Top;
}

}  // namespace

bool isWebVTT(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  constexpr std::string_view kName = "WEBVTT";
  return text.starts_with(kName) &&
         (text.size() == kName.size() || trimmed(text.substr(kName.size(), 1)).empty());
}

std::vector<SubtitleCue> WebVTTReader::read(std::string_view text) {
  const std::string plain = normalizedLines(text);
  std::vector<SubtitleCue> cues;
  forEachBlock(plain, [&](std::string_view block) { _readBlock(block, cues); });
  return cues;
}

void WebVTTReader::_readBlock(std::string_view block, std::vector<SubtitleCue>& cues) {
  std::string_view rest = block;
  const std::string_view first = takeLine(rest);
  if (first.find(kArrow) != std::string_view::npos) {
    _readCue({}, block, cues);
  } else if (trimmed(first) == "STYLE") {
    _styles.addSheet(rest);
  } else if (trimmed(first) == "REGION") {
    _readRegion(rest);
  } else if (!first.starts_with("NOTE") && !first.starts_with("WEBVTT")) {
    _readCue(trimmed(first), rest, cues);
  }
}

void WebVTTReader::_readCue(std::string_view identifier, std::string_view block,
                            std::vector<SubtitleCue>& cues) const {
  std::string_view line = takeLine(block);
  const auto times = takeTimes(line);
  if (!times || cues.size() >= SubtitleCues::kCueLimit) return;
  auto cue = _cueOf(identifier, line, block);
  if (!cue) return;
  cue->start = times->start;
  cue->duration = times->end - times->start;
  cues.push_back(std::move(*cue));
}

std::optional<SubtitleCue> WebVTTReader::_cueOf(std::string_view identifier,
                                                std::string_view settings,
                                                std::string_view text) const {
  SubtitleCue cue = cueOfMarkup(text);
  if (cue.isEmpty()) return std::nullopt;
  cue.identifier = identifier;
  _readSettings(settings, cue.layout);
  _styles.applyTo(cue);
  return cue;
}

std::optional<SubtitleCue> WebVTTReader::readPayload(std::string_view payload,
                                                     bool isHeaded) const {
  const std::string plain = normalizedLines(payload);
  std::string_view rest = plain;
  const std::string_view identifier = isHeaded ? trimmed(takeLine(rest)) : "";
  const std::string_view settings = isHeaded ? takeLine(rest) : "";
  return _cueOf(identifier, settings, rest);
}

void WebVTTReader::_readSettings(std::string_view settings, CueLayout& layout) const {
  std::optional<double> position;
  std::optional<double> width;
  std::string_view anchor;
  forEachSetting(settings, [&](std::string_view name, std::string_view value) {
    if (name == "line") {
      readLine(value, layout);
    } else if (name == "align") {
      layout.alignment = alignmentOf(value).value_or(layout.alignment);
    } else if (name == "size") {
      width = percentage(value);
    } else if (name == "position") {
      const std::size_t comma = std::min(value.find(','), value.size());
      position = percentage(value.substr(0, comma));
      anchor = value.substr(std::min(comma + 1, value.size()));
    } else if (name == "region") {
      _placeInRegion(value, layout);
    }
  });
  if (!position && !width) return;
  const Alignment side = anchor == "line-left"    ? Alignment::Left
                         : anchor == "line-right" ? Alignment::Right
                         : anchor == "center"     ? Alignment::Center
                                                  : layout.alignment;
  const bool isLeft = side == Alignment::Start || side == Alignment::Left;
  const double usual = side == Alignment::Center ? 0.5 : isLeft ? 0 : 1;
  setPosition(layout, position.value_or(usual), width.value_or(1), side);
}

void WebVTTReader::_readRegion(std::string_view settings) {
  if (_regions.size() >= kRegionLimit) return;
  Region region;
  forEachSetting(settings, [&](std::string_view name, std::string_view value) {
    if (name == "id") region.identifier = value;
    if (name == "width") region.width = percentage(value).value_or(region.width);
    if (name == "regionanchor") readPoint(value, region.anchorX, region.anchorY);
    if (name == "viewportanchor") readPoint(value, region.viewportX, region.viewportY);
    if (name == "lines")
      region.lines = std::clamp(takeNumber(value).value_or(region.lines), 1.0, 100.0);
  });
  _regions.push_back(std::move(region));
}

void WebVTTReader::_placeInRegion(std::string_view identifier, CueLayout& layout) const {
  const auto region = std::find_if(_regions.rbegin(), _regions.rend(), [&](const Region& each) {
    return each.identifier == identifier;
  });
  if (region == _regions.rend()) return;
  layout.left = std::clamp(region->viewportX - region->anchorX * region->width, 0.0, 1.0);
  layout.width = std::min(region->width, 1 - *layout.left);
  // Cues of a region are laid out upwards from its lower edge.
  const double bottom = region->viewportY + (1 - region->anchorY) * region->lines * kRegionLine;
  layout.y = std::clamp(bottom, 0.0, 1.0);
  layout.anchor = Anchor::Bottom;
}

std::vector<SubtitleCue> cuesOfSubRip(std::string_view text) {
  const std::string plain = normalizedLines(text);
  std::vector<SubtitleCue> cues;
  forEachBlock(plain, [&](std::string_view block) {
    // The number at the beginning is optional.
    std::string_view line = takeLine(block);
    if (line.find(kArrow) == std::string_view::npos) line = takeLine(block);
    const auto times = takeTimes(line);
    if (!times || cues.size() >= SubtitleCues::kCueLimit) return;
    SubtitleCue cue = cueOfMarkup(block);
    if (cue.isEmpty()) return;
    cue.start = times->start;
    cue.duration = times->end - times->start;
    cues.push_back(std::move(cue));
  });
  return cues;
}

}  // namespace media
