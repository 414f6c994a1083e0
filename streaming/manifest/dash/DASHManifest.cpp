#include "streaming/manifest/dash/DASHManifest.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "streaming/foundation/URL.h"
#include "streaming/manifest/TimeText.h"
#include "streaming/manifest/dash/DASHAdaptationSets.h"
#include "streaming/manifest/dash/DASHEvents.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxPeriods = 1000;
constexpr std::size_t kMaxPeriodIDLength = 128;
constexpr std::size_t kMaxURLText = std::size_t{64} * 1024 * 1024;

}  // namespace

DASHManifest::DASHManifest(pugi::xml_node root, const ManifestOrigin& origin)
    : _root(root),
      _origin(origin),
      _queryFrom(origin.inheritsQuery ? std::make_shared<const std::string>(origin.url) : nullptr),
      _urlBudget(kMaxURLText) {}

std::shared_ptr<Presentation> DASHManifest::read() {
  auto presentation = std::make_shared<Presentation>();
  _readHead(*presentation);
  _readPeriods(*presentation);
  if (presentation->periods.empty()) return nullptr;
  if (!presentation->duration && !_isLive) {
    const Period& last = presentation->periods.back();
    if (last.duration) presentation->duration = last.start + *last.duration;
  }
  if (presentation->targetDuration <= 0) presentation->targetDuration = _longestSegment;
  return presentation;
}

/// Resolves a reference of the manifest. Empty if it is invalid.
std::string DASHManifest::_reference(std::string_view reference) const {
  auto url = resolveURL(_origin.url, reference);
  if (!url) return {};
  return _queryFrom ? withQueryOf(*_queryFrom, *std::move(url)) : *std::move(url);
}

void DASHManifest::_readHead(Presentation& presentation) {
  presentation.duration = xmlDuration(_root, "mediaPresentationDuration");
  if (presentation.duration == 0) presentation.duration.reset();
  presentation.targetDuration = xmlDuration(_root, "maxSegmentDuration").value_or(0);
  _isLive = attributeOf(_root, "type") == "dynamic";
  if (!_isLive) return;
  _availabilityStart = dateFrom(attributeOf(_root, "availabilityStartTime"));
  _timeShiftDepth = xmlDuration(_root, "timeShiftBufferDepth");
  presentation.isLive = true;
  presentation.availabilityStart = _availabilityStart;
  presentation.timeShiftDepth = _timeShiftDepth;
  presentation.suggestedDelay = xmlDuration(_root, "suggestedPresentationDelay");
  if (_availabilityStart)
    presentation.dates.push_back(
        {.position = 0, .date = *_availabilityStart, .isDiscontinuous = false});
  _readReload(presentation);
  _readClocks(presentation);
}

void DASHManifest::_readReload(Presentation& presentation) {
  const auto interval = xmlDuration(_root, "minimumUpdatePeriod");
  if (!interval) return;
  constexpr double kMinInterval = 1;
  _isReloaded = true;
  ReloadRule rule;
  rule.interval = std::max(*interval, kMinInterval);
  if (const auto location = childOf(_root, "Location")) rule.url = _reference(textOf(location));
  if (const auto location = childOf(_root, "PatchLocation"))
    rule.patchURL = _reference(textOf(location));
  presentation.reload = std::move(rule);
}

void DASHManifest::_readClocks(Presentation& presentation) const {
  constexpr std::size_t kMaxClocks = 8;
  for (const pugi::xml_node clock : childrenOf(_root, "UTCTiming")) {
    if (presentation.clocks.size() == kMaxClocks) break;
    const std::string_view scheme = attributeOf(clock, "schemeIdUri");
    std::string_view value = attributeOf(clock, "value");
    std::string urls;
    if (scheme.find(":http-") == scheme.npos) {
      urls = value;
    } else {
      // The value may list several servers.
      while (!value.empty()) {
        const auto end = std::min(value.find_first_of(" \t\r\n"), value.size());
        const std::string url = _reference(value.substr(0, end));
        value.remove_prefix(std::min(end + 1, value.size()));
        if (url.empty()) continue;
        if (!urls.empty()) urls += ' ';
        urls += url;
      }
    }
    presentation.clocks.emplace_back(scheme, std::move(urls));
  }
}

/// The Period elements without those that resolve to zero.
std::vector<pugi::xml_node> DASHManifest::_periodNodes() const {
  constexpr std::string_view kResolveToZero = "urn:mpeg:dash:resolve-to-zero:2013";
  auto nodes = childrenOf(_root, "Period");
  std::erase_if(nodes,
                [&](pugi::xml_node each) { return attributeOf(each, "href") == kResolveToZero; });
  if (nodes.size() > kMaxPeriods) {
    // Live playback needs the newest periods.
    if (_isLive && hasAttribute(nodes[nodes.size() - kMaxPeriods], "start"))
      nodes.erase(nodes.begin(), nodes.end() - kMaxPeriods);
    else
      nodes.resize(kMaxPeriods);
  }
  return nodes;
}

void DASHManifest::_readPeriods(Presentation& presentation) {
  const auto nodes = _periodNodes();
  const std::vector<std::string> bases = baseURLs(_root, {_origin.url});
  std::set<std::string, std::less<>> taken;
  std::optional<double> next = 0;
  for (std::size_t at = 0; at < nodes.size(); ++at) {
    const pugi::xml_node node = nodes[at];
    const auto start = xmlDuration(node, "start");
    // An early available period without a known start.
    if (!start && !next) continue;
    PeriodContext context;
    context.start = start ? *start : *next;
    context.duration = xmlDuration(node, "duration");
    if (at + 1 < nodes.size())
      if (const auto end = xmlDuration(nodes[at + 1], "start"); end && *end >= context.start)
        context.duration =
            std::min(context.duration.value_or(*end - context.start), *end - context.start);
    if (!context.duration && at + 1 == nodes.size() && presentation.duration)
      context.duration = std::max(0.0, *presentation.duration - context.start);
    next = context.duration ? std::optional(context.start + *context.duration) : std::nullopt;
    // The remote document was not loaded.
    if (context.duration == 0 || hasAttribute(node, "href")) continue;
    if (essentialUse(node) != EssentialUse::Play) continue;

    // Both values stay the same when earlier periods are removed.
    constexpr double kMilliseconds = 1000;
    constexpr double kMaxValue = 1e15;
    context.discontinuity =
        static_cast<std::uint64_t>(std::min(std::round(context.start * kMilliseconds), kMaxValue));
    context.prefix = attributeOf(node, "id").substr(0, kMaxPeriodIDLength);
    if (context.prefix.empty() || !taken.insert(context.prefix).second)
      context.prefix += "@" + std::to_string(context.discontinuity);
    _readPeriod(node, std::move(context), bases, presentation);
  }
  std::stable_sort(presentation.periods.begin(), presentation.periods.end(),
                   [](const Period& a, const Period& b) { return a.start < b.start; });
}

void DASHManifest::_readPeriod(pugi::xml_node node, PeriodContext context,
                               const std::vector<std::string>& bases, Presentation& presentation) {
  context.info.readBases(_root);
  context.info.read(node, context.duration);
  context.bases = baseURLs(node, bases);
  Period period;
  period.id = context.prefix;
  period.start = context.start;
  period.duration = context.duration;
  period.tracks = _readTracks(node, context);
  const bool hasMedia = std::any_of(period.tracks.begin(), period.tracks.end(),
                                    [](const auto& each) { return each.kind != MediaKind::Text; });
  if (!hasMedia) return;
  addPeriodEvents(node, context.start, presentation.events);
  presentation.periods.push_back(std::move(period));
}

}  // namespace streaming
