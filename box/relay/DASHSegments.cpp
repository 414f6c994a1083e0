#include "box/relay/DASHSegments.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "box/relay/PlaylistLimits.h"
#include "box/relay/TimeText.h"

namespace box {
namespace {

constexpr std::size_t kMostRules = 512;
constexpr std::size_t kMostRuns = 100'000;
/// To the end of the period, wherever that is.
constexpr std::uint64_t kOpenCount = std::uint64_t{1} << 40;

std::optional<std::uint64_t> integerOf(const XMLAttributes& attributes, std::string_view name) {
  const std::string_view text = valueOf(attributes, name);
  std::uint64_t value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size())
    return {};
  return value;
}

bool isOfSegments(std::string_view name) {
  return name == "SegmentTemplate" || name == "SegmentList" || name == "SegmentBase";
}

bool inherits(std::string_view name) {
  return name == "Period" || name == "AdaptationSet" || name == "Representation";
}

}  // namespace

void DASHSegments::begin(std::string_view name, const XMLAttributes& attributes) {
  if (name == "MPD")
    _wholeDuration = durationFrom(valueOf(attributes, "mediaPresentationDuration")).value_or(0);
  if (inherits(name)) {
    if (name == "Period") _beginPeriod(attributes);
    Level level = _levels.empty() || name == "Period" ? Level{} : _levels.back();
    if (name == "Period") _levels.clear();
    level.name = name;
    std::string_view type = valueOf(attributes, "contentType");
    if (type.empty()) type = valueOf(attributes, "mimeType");
    if (!type.empty()) level.type = type.substr(0, type.find('/'));
    level.identifier = valueOf(attributes, "id");
    level.bandwidth = valueOf(attributes, "bandwidth");
    _levels.push_back(std::move(level));
  } else if (!_levels.empty()) {
    if (isOfSegments(name)) _noteSegments(name, attributes);
    if (name == "S") _addRun(attributes);
    if (name == "SegmentURL" && _takeRoom(valueOf(attributes, "media").size() + 1))
      _levels.back().references.emplace_back(valueOf(attributes, "media"));
  }
}

void DASHSegments::end(std::string_view name, const std::string& base) {
  if (_levels.empty() || _levels.back().name != name) return;
  const Level level = std::move(_levels.back());
  _levels.pop_back();
  if (name == "Representation") _finishRepresentation(level, base);
}

void DASHSegments::_beginPeriod(const XMLAttributes& attributes) {
  if (const auto start = durationFrom(valueOf(attributes, "start")))
    _periodStart = *start;
  else
    _periodStart += _periodDuration.value_or(0);
  _periodDuration = durationFrom(valueOf(attributes, "duration"));
}

void DASHSegments::_noteSegments(std::string_view name, const XMLAttributes& attributes) {
  Level& level = _levels.back();
  if (const auto media = valueOf(attributes, "media"); !media.empty()) level.media = media;
  if (name == "SegmentList") {
    level.isList = true;
    level.references.clear();
  }
  if (const auto number = integerOf(attributes, "startNumber")) level.firstNumber = *number;
  if (const auto scale = integerOf(attributes, "timescale"); scale && *scale > 0)
    level.timescale = static_cast<double>(*scale);
  if (const auto offset = integerOf(attributes, "presentationTimeOffset"))
    level.timeOffset = *offset;
  if (const auto duration = integerOf(attributes, "duration")) level.duration = *duration;
}

void DASHSegments::_addRun(const XMLAttributes& attributes) {
  Level& level = _levels.back();
  const bool isFirst =
      !level.runs || (_levels.size() > 1 && level.runs == _levels[_levels.size() - 2].runs);
  if (isFirst) level.runs = std::make_shared<Runs>();
  if (++_runs > kMostRuns) return;
  SegmentRule::Run run;
  if (!level.runs->empty()) {
    const SegmentRule::Run& last = level.runs->back();
    run.time = last.time + last.count * last.duration;
  }
  const auto time = integerOf(attributes, "t");
  if (time) {
    // One without an end ends where the next begins.
    if (!level.runs->empty()) {
      SegmentRule::Run& last = level.runs->back();
      if (last.count == kOpenCount && last.duration > 0 && *time > last.time)
        last.count = (*time - last.time + last.duration - 1) / last.duration;
    }
    run.time = *time;
  }
  run.duration = integerOf(attributes, "d").value_or(0);
  run.count = 1 + integerOf(attributes, "r").value_or(0);
  if (valueOf(attributes, "r").starts_with('-') || run.count > kOpenCount) run.count = kOpenCount;
  level.runs->push_back(run);
}

void DASHSegments::_finishRepresentation(const Level& level, const std::string& base) {
  if (_found.size() == kMostRules) return;
  SegmentRule rule;
  rule.variant = level.identifier;
  rule.timescale = level.timescale;
  rule.offset = _periodStart - static_cast<double>(level.timeOffset) / level.timescale;
  rule.firstNumber = level.firstNumber;
  rule.runs = level.runs;
  if (!rule.runs && level.duration > 0)
    rule.runs = std::make_shared<Runs>(Runs{{level.timeOffset, level.duration, kOpenCount}});
  if (level.isList) {
    rule.form = SegmentRule::Form::List;
    std::uint64_t number = level.firstNumber;
    for (const std::string& each : level.references) rule.urls[_resolve(base, each)] = number++;
  } else if (level.media.empty()) {
    rule.form = SegmentRule::Form::Whole;
    rule.before = base;
    rule.offset = _periodStart;
    rule.duration = _periodDuration.value_or(std::max(0.0, _wholeDuration - _periodStart));
  } else if (!_fillIn(level, rule, base)) {
    return;
  }
  std::size_t bytes = rule.before.size() + rule.behind.size();
  for (const auto& each : rule.urls) bytes += each.first.size();
  if (_takeRoom(bytes)) _found.push_back({level.type, std::move(rule)});
}

/// The template's identifiers but that which changes from segment to segment.
bool DASHSegments::_fillIn(const Level& level, SegmentRule& rule, const std::string& base) const {
  // No URL has it in it.
  constexpr char kMark = '\n';
  std::string_view rest = level.media;
  std::string filled;
  bool isMarked = false;
  while (!rest.empty()) {
    const auto dollar = rest.find('$');
    filled += rest.substr(0, dollar);
    if (dollar == rest.npos) break;
    const auto end = rest.find('$', dollar + 1);
    if (end == rest.npos) return false;
    std::string_view name = rest.substr(dollar + 1, end - dollar - 1);
    rest.remove_prefix(end + 1);
    name = name.substr(0, name.find('%'));
    if (name.empty()) {
      filled += '$';
    } else if (name == "RepresentationID") {
      filled += level.identifier;
    } else if (name == "Bandwidth") {
      filled += level.bandwidth;
    } else if ((name == "Number" || name == "Time") && !std::exchange(isMarked, true)) {
      rule.form = name == "Time" ? SegmentRule::Form::Time : SegmentRule::Form::Number;
      filled += kMark;
    } else {
      return false;
    }
  }
  if (!isMarked) return false;
  // Digits go through everything that is done to a URL.
  constexpr std::string_view kStandIn = "0000111122223333";
  const auto mark = filled.find(kMark);
  const std::string url = _resolve(base, filled.replace(mark, 1, kStandIn));
  const auto at = url.find(kStandIn);
  if (at == url.npos) return false;
  rule.before = url.substr(0, at);
  rule.behind = url.substr(at + kStandIn.size());
  return true;
}

bool DASHSegments::_takeRoom(std::size_t count) {
  if (_urlBytes + count > maxTimelineURLBytes) return false;
  _urlBytes += count;
  return true;
}

std::vector<SegmentRule> DASHSegments::rules() const {
  std::vector<SegmentRule> result;
  for (const std::string_view type : {"video", "audio", ""}) {
    for (const Found& each : _found)
      if (type.empty() || each.type == type) result.push_back(each.rule);
    if (!result.empty()) break;
  }
  return result;
}

}  // namespace box
