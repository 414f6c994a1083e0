#include "streaming/manifest/dash/DASHSegmentInfo.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "streaming/foundation/URL.h"
#include "streaming/manifest/TimeText.h"

namespace streaming {
namespace {

constexpr double kMaxTimescale = 1e10;
constexpr std::size_t kMaxBases = 4;

/// availabilityTimeOffset in seconds. "INF" becomes a large value.
std::optional<double> availabilityIn(pugi::xml_node node) {
  constexpr double kAlways = 1e9;
  constexpr std::string_view kName = "availabilityTimeOffset";
  if (attributeOf(node, kName) == "INF") return kAlways;
  const auto offset = xmlNumber(node, kName);
  return offset ? std::optional(std::min(*offset, kAlways)) : std::nullopt;
}

std::optional<std::string_view> patternIn(pugi::xml_node node, std::string_view name) {
  const std::string_view text = attributeOf(node, name);
  if (!hasAttribute(node, name) || text.size() > kMaxURLLength) return std::nullopt;
  return text;
}

std::optional<ListedSegment> listed(pugi::xml_node node, std::string_view url,
                                    std::string_view range) {
  ListedSegment segment;
  segment.reference = attributeOf(node, url);
  segment.span = dashByteRange(attributeOf(node, range));
  if (segment.reference.empty() && !segment.span) return std::nullopt;
  return segment;
}

/// The number of segments in a run with a negative `r`, which repeats until `end`.
std::uint64_t repeatsUntil(double end, std::uint64_t time, std::uint64_t duration) {
  const double count =
      std::ceil((end - static_cast<double>(time)) / static_cast<double>(duration) - 0.001);
  if (!(count >= 1)) return 1;
  return count >= static_cast<double>(SegmentTiming::kUnbounded)
             ? SegmentTiming::kUnbounded
             : static_cast<std::uint64_t>(count);
}

}  // namespace

std::optional<ByteSpan> dashByteRange(std::string_view text) {
  const auto dash = text.find('-');
  if (dash == text.npos) return std::nullopt;
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  const char* const end = text.data() + text.size();
  if (std::from_chars(text.data(), text.data() + dash, first).ec != std::errc{})
    return std::nullopt;
  if (dash + 1 == text.size()) return ByteSpan{first, std::nullopt};
  if (std::from_chars(text.data() + dash + 1, end, last).ec != std::errc{} || last < first)
    return std::nullopt;
  return ByteSpan{first, last - first + 1};
}

std::vector<std::string> baseURLs(pugi::xml_node level, const std::vector<std::string>& inherited) {
  std::vector<std::string> urls;
  for (const pugi::xml_node node : childrenOf(level, "BaseURL"))
    for (const std::string& base : inherited) {
      if (urls.size() == kMaxBases) return urls;
      auto url = resolveURL(base, textOf(node));
      if (url && url->size() <= kMaxURLLength &&
          std::find(urls.begin(), urls.end(), *url) == urls.end())
        urls.push_back(*std::move(url));
    }
  return urls.empty() ? inherited : urls;
}

void DASHSegmentInfo::read(pugi::xml_node level, std::optional<double> periodDuration) {
  readBases(level);
  if (const auto node = childOf(level, "SegmentTemplate")) {
    addressing = Addressing::Template;
    _readCommon(node);
    if (const auto pattern = patternIn(node, "media")) media = *pattern;
    if (const auto pattern = patternIn(node, "initialization")) {
      initializationPattern = *pattern;
      initialization.reset();
    }
    _readTimeline(node, periodDuration);
  } else if (const auto listNode = childOf(level, "SegmentList")) {
    addressing = Addressing::List;
    _readCommon(listNode);
    auto segments = std::make_shared<std::vector<ListedSegment>>();
    for (const pugi::xml_node each : childrenOf(listNode, "SegmentURL"))
      segments->push_back(listed(each, "media", "mediaRange").value_or(ListedSegment{}));
    if (!segments->empty()) list = std::move(segments);
    _readTimeline(listNode, periodDuration);
  } else if (const auto base = childOf(level, "SegmentBase")) {
    addressing = Addressing::File;
    _readCommon(base);
    if (const auto span = dashByteRange(attributeOf(base, "indexRange"))) indexSpan = span;
  }
}

void DASHSegmentInfo::readBases(pugi::xml_node level) {
  if (const auto base = childOf(level, "BaseURL"))
    if (const auto offset = availabilityIn(base)) baseAvailability = *offset;
  timing.availabilityOffset = baseAvailability + segmentAvailability;
}

void DASHSegmentInfo::_readCommon(pugi::xml_node node) {
  if (const auto scale = xmlNumber(node, "timescale"); scale && *scale >= 1)
    timing.timescale = std::min(*scale, kMaxTimescale);
  if (const auto offset = xmlInteger(node, "presentationTimeOffset")) timing.timeOffset = *offset;
  if (const auto number = xmlInteger(node, "startNumber")) timing.firstNumber = *number;
  if (const auto number = xmlInteger(node, "endNumber")) timing.lastNumber = *number;
  if (const auto offset = availabilityIn(node)) segmentAvailability = *offset;
  timing.availabilityOffset = baseAvailability + segmentAvailability;
  if (hasAttribute(node, "duration")) {
    timing.duration = xmlInteger(node, "duration").value_or(0);
    timing.runs = nullptr;
  }
  if (const auto child = childOf(node, "Initialization"))
    if (auto found = listed(child, "sourceURL", "range")) initialization = std::move(found);
}

void DASHSegmentInfo::_readTimeline(pugi::xml_node node, std::optional<double> periodDuration) {
  const auto timeline = childOf(node, "SegmentTimeline");
  if (!timeline) return;
  auto found = std::make_shared<std::vector<SegmentTiming::Run>>();
  const auto entries = childrenOf(timeline, "S");
  std::uint64_t time = 0;
  std::uint64_t index = 0;
  std::uint64_t number = 0;
  timing.isOpen = false;
  for (std::size_t at = 0; at < entries.size(); ++at) {
    SegmentTiming::Run run;
    run.time = xmlInteger(entries[at], "t").value_or(time);
    run.duration = xmlInteger(entries[at], "d").value_or(0);
    if (run.duration == 0) continue;
    if (run.time < time && !found->empty()) {
      // Overlaps shorter than a segment are accepted.
      const auto& before = found->back();
      const std::uint64_t lastStart = before.time + (before.count - 1) * before.duration;
      if (run.time <= lastStart || run.duration < time - run.time) continue;
    }
    timing.isOpen = false;
    const std::string_view repeat = attributeOf(entries[at], "r");
    if (!repeat.starts_with('-')) {
      run.count =
          std::min(xmlInteger(entries[at], "r").value_or(0), SegmentTiming::kUnbounded - 1) + 1;
    } else if (at + 1 < entries.size() && hasAttribute(entries[at + 1], "t")) {
      const double next = static_cast<double>(xmlInteger(entries[at + 1], "t").value_or(run.time));
      run.count = repeatsUntil(next, run.time, run.duration);
    } else if (timing.isOpen = true; periodDuration) {
      const double end =
          *periodDuration * timing.timescale + static_cast<double>(timing.timeOffset);
      run.count = repeatsUntil(end, run.time, run.duration);
    } else {
      run.count = SegmentTiming::kUnbounded;
    }
    // Prevents overflow.
    constexpr auto kMaxUnits = std::uint64_t{1} << 62;
    if (run.time > kMaxUnits || run.duration > kMaxUnits) break;
    run.count =
        std::min(run.count, std::max<std::uint64_t>(1, (kMaxUnits - run.time) / run.duration));
    constexpr std::uint64_t kMaxParts = 10'000;
    run.parts = std::clamp<std::uint64_t>(xmlInteger(entries[at], "k").value_or(1), 1, kMaxParts);
    run.count =
        std::max<std::uint64_t>(1, std::min(run.count, SegmentTiming::kUnbounded / run.parts));
    run.firstIndex = index;
    run.firstNumber = number;
    index += run.segments();
    number += run.count;
    time = run.time + run.count * run.duration;
    found->push_back(run);
    if (index >= SegmentTiming::kUnbounded) break;
  }
  timing.duration = 0;
  timing.runs = std::move(found);
}

}  // namespace streaming
