#include "media/texts/TTMLElement.h"

#include <algorithm>
#include <vector>

namespace media {
namespace {

constexpr std::size_t kMaxChangeTimes = 128;
constexpr std::uint64_t kElementCost = 1000;
constexpr std::uint64_t kChangeCost = 200;
constexpr std::uint64_t kByteCost = 4;

void fade(SubtitleCue& cue, float opacity) {
  if (!cue.look.color) cue.look.color = platform::kWhite;
  for (auto* color : {&cue.look.color, &cue.look.background, &cue.layout.background})
    if (*color) (*color)->alpha *= opacity;
}

/// Returns the times at which a paragraph may change, from its begin to its end.
std::vector<double> timesOf(const TTMLPlace& paragraph, const TTMLContent& content) {
  const auto [begin, end] = paragraph.times();
  if (!(end > begin)) return {};
  std::vector<double> times{begin};
  content.appendTimes(times);
  paragraph.element.own.appendTimes(times);
  for (const TTMLElement& each : paragraph.outer) each.own.appendTimes(times);
  if (paragraph.region) paragraph.region->own.appendTimes(times);
  std::erase_if(
      times, [first = begin, last = end](double time) { return !(time >= first && time < last); });
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  if (times.size() > kMaxChangeTimes) times.resize(kMaxChangeTimes);
  times.push_back(end);
  return times;
}

/// Returns the cue of a paragraph at a time, without times; an empty one if it is not displayed.
SubtitleCue cueAt(double time, const TTMLPlace& paragraph, const TTMLContent& content) {
  if (!paragraph.isDisplayedAt(time)) return {};
  const TTMLRoot& root = paragraph.root;
  TTMLStyle style;
  double opacity = 1;
  const auto add = [&](const TTMLTimedStyle& timed) {
    const TTMLStyle own = timed.at(time);
    style.inherit(own, root);
    opacity *= own.opacity.value_or(1);
  };
  if (paragraph.region) add(paragraph.region->own);
  std::optional<platform::Color> background;  // of the elements around the paragraph
  for (const TTMLElement& each : paragraph.outer) {
    add(each.own);
    if (style.look.background) background = style.look.background;
  }
  add(paragraph.element.own);
  SubtitleCue cue;
  cue.identifier = paragraph.element.identifier;
  cue.look = style.look;
  if (style.fontSize)
    cue.look.size = std::clamp(style.fontHeight(root) / kSubtitleFontSize, 0.25, 4.0);
  cue.layout.writing = style.writing.value_or(CueLayout::Writing::Horizontal);
  cue.layout.rowAlignment = style.rowAlignment;
  cue.layout.shear = style.shear.value_or(0);
  cue.layout.readsDownwards = true;
  if (const auto box = paragraph.boxAt(time)) {
    placeInTTMLRegion(*box, cue.layout);
    cue.layout.alignment = CueLayout::Alignment::Start;
    cue.layout.background = std::exchange(cue.look.background, std::nullopt);
  }
  if (style.alignment) cue.layout.alignment = *style.alignment;
  if (!cue.look.background) cue.look.background = background;
  if (opacity < 1) fade(cue, static_cast<float>(opacity));
  return content.cueAt(time, std::move(cue), style, root);
}

}  // namespace

bool TTMLWork::take(std::uint64_t cost) {
  if (cost > left) return false;
  left -= cost;
  return true;
}

std::uint64_t TTMLPlace::cost() const {
  std::size_t changes = element.own.changes.size();
  if (region) changes += region->own.changes.size();
  for (const TTMLElement& each : outer) changes += each.own.changes.size();
  return kElementCost + kChangeCost * changes;
}

std::pair<double, double> TTMLPlace::times() const {
  if (!region) return {element.begin, element.end};
  return {std::max(region->begin, element.begin), std::min(region->end, element.end)};
}

bool TTMLPlace::isDisplayedAt(double time) const {
  const auto isDisplayed = [&](const TTMLTimedStyle& own) {
    return own.at(time).isDisplayed.value_or(true);
  };
  return (!region || isDisplayed(region->own)) && isDisplayed(element.own) &&
         std::all_of(outer.begin(), outer.end(),
                     [&](const TTMLElement& each) { return isDisplayed(each.own); });
}

std::optional<TTMLStyle> TTMLPlace::boxAt(double time) const {
  std::optional<TTMLStyle> box;
  if (region) box = region->own.at(time);
  const auto add = [&](const TTMLElement& each) {
    const TTMLStyle own = each.own.at(time);
    if (!own.origin && !own.extent) return;
    if (!box) box.emplace();
    box->put(own);
  };
  for (const TTMLElement& each : outer) add(each);
  add(element);
  return box;
}

bool addParagraph(const TTMLPlace& paragraph, const TTMLContent& content, std::int32_t order,
                  TTMLWork& work, CueList& cues) {
  if (content.bytes() == 0) return true;
  const std::vector<double> times = timesOf(paragraph, content);
  const std::uint64_t each =
      paragraph.cost() + kByteCost * content.bytes() + kChangeCost * content.changes();
  if (!work.take((times.size() + 1) * each)) return false;
  SubtitleCue shown;  // without its times
  double since = 0;
  const auto add = [&](double until) {
    if (shown.isEmpty()) return true;
    shown.start = since;
    shown.duration = std::isfinite(until) ? until - since : SubtitleCue::kUntilNext;
    shown.order = order;
    return cues.add(std::exchange(shown, {}));
  };
  for (std::size_t index = 0; index + 1 < times.size(); ++index) {
    SubtitleCue cue = cueAt(times[index], paragraph, content);
    if (cue == shown) continue;
    if (!add(times[index])) return false;
    shown = std::move(cue);
    since = times[index];
  }
  return times.empty() || add(times.back());
}

}  // namespace media
