#include <algorithm>
#include <charconv>
#include <utility>

#include "streaming/foundation/URL.h"
#include "streaming/manifest/CodecNames.h"
#include "streaming/manifest/TimeText.h"
#include "streaming/manifest/dash/DASHAdaptationSets.h"
#include "streaming/manifest/dash/DASHManifest.h"

namespace streaming {
namespace {

constexpr double kMaxBandwidth = 1e15;

/// Parses "25" or "30000/1001".
double frameRateOf(std::string_view text) {
  const auto slash = text.find('/');
  const double rate = numberFrom(text.substr(0, slash)).value_or(0);
  const double divisor = slash == text.npos ? 1 : numberFrom(text.substr(slash + 1)).value_or(1);
  return divisor > 0 ? std::max(0.0, rate / divisor) : 0;
}

int pixelsOf(std::string_view text) {
  constexpr double kMaxPixels = 65536;
  const double value = numberFrom(text).value_or(0);
  return value > 0 && value <= kMaxPixels ? static_cast<int>(value) : 0;
}

std::optional<std::array<std::byte, 16>> initialVectorIn(std::string_view digits) {
  if (digits.starts_with("0x") || digits.starts_with("0X")) digits.remove_prefix(2);
  std::array<std::byte, 16> vector{};
  if (digits.size() != 2 * vector.size()) return std::nullopt;
  for (std::size_t at = 0; at < vector.size(); ++at) {
    unsigned value = 0;
    const char* const begin = digits.data() + 2 * at;
    if (std::from_chars(begin, begin + 2, value, 16).ptr != begin + 2) return std::nullopt;
    vector[at] = static_cast<std::byte>(value);
  }
  return vector;
}

using KeyPeriods = std::shared_ptr<const std::vector<SegmentKeyPeriod>>;

/// The keys of encrypted segments (ISO/IEC 23009-4). Null: not encrypted.
KeyPeriods segmentKeysOf(const std::vector<pugi::xml_node>& protections,
                         const std::vector<std::string>& bases) {
  constexpr std::size_t kMaxKeyPeriods = 1000;
  for (const pugi::xml_node protection : protections) {
    if (!childOf(protection, "SegmentEncryption") || bases.empty()) continue;
    auto periods = std::make_shared<std::vector<SegmentKeyPeriod>>();
    std::uint64_t next = 0;
    for (const pugi::xml_node node : childrenOf(protection, "CryptoPeriod")) {
      auto url = resolveURL(bases.front(), attributeOf(node, "keyUriTemplate"));
      SegmentKeyPeriod period;
      period.firstIndex = std::max(next, xmlInteger(node, "startOffset").value_or(next));
      period.count = xmlInteger(node, "numSegments");
      next = period.firstIndex;
      if (period.count) next += std::min(*period.count, SegmentTiming::kUnbounded);
      if (!url || periods->size() == kMaxKeyPeriods || next >= SegmentTiming::kUnbounded) continue;
      SegmentKey key;
      key.url = *std::move(url);
      key.initialVector = initialVectorIn(attributeOf(node, "IV"));
      period.key = std::make_shared<const SegmentKey>(std::move(key));
      periods->push_back(std::move(period));
    }
    if (!periods->empty()) return periods;
  }
  return nullptr;
}

constexpr double kMaxEstimate = 60;

/// An estimate of the segment duration in units.
std::uint64_t timingUnits(const SegmentTiming& timing) {
  if (timing.duration > 0) return timing.duration;
  return timing.runs && !timing.runs->empty() ? timing.runs->back().duration : 0;
}

std::size_t bytesIn(const std::vector<std::string>& texts) {
  std::size_t bytes = 0;
  for (const std::string& each : texts) bytes += each.size();
  return bytes;
}

}  // namespace

/// Makes an ID unique with a numeric suffix.
std::string DASHManifest::_uniqueID(std::string id) {
  const auto [known, isNew] = _identifiers.try_emplace(id, 1);
  if (isNew) return id;
  std::string unique;
  do unique = id + '#' + std::to_string(++known->second);
  while (!_identifiers.try_emplace(unique, 1).second);
  return unique;
}

std::shared_ptr<Representation> DASHManifest::_representation(const SetContext& set,
                                                              pugi::xml_node node,
                                                              const PeriodContext& period) {
  const std::string identifier(attributeOf(node, "id"));
  const auto protectionNodes = protectionNodesOf(node);
  if (identifier.size() > kMaxDASHNameLength || set.hasUnknownEncryption ||
      hasUnknownSegmentEncryption(protectionNodes))
    return nullptr;
  auto representation = std::make_shared<Representation>();
  representation->bandwidth = std::min(xmlNumber(node, "bandwidth").value_or(0), kMaxBandwidth);
  representation->codecs = partsOfList(inheritedAttribute(set.node, node, "codecs"));
  representation->mimeType = inheritedAttribute(set.node, node, "mimeType");
  representation->width = pixelsOf(inheritedAttribute(set.node, node, "width"));
  representation->height = pixelsOf(inheritedAttribute(set.node, node, "height"));
  representation->frameRate = frameRateOf(inheritedAttribute(set.node, node, "frameRate"));
  representation->protections = protectionsOf(protectionNodes);
  representation->protections.insert(representation->protections.end(), set.protections.begin(),
                                     set.protections.end());
  DASHSegmentInfo info = set.info;
  info.read(node, period.duration);
  std::vector<std::string> bases = baseURLs(node, set.bases);
  representation->timeOffset =
      period.start - static_cast<double>(info.timing.timeOffset) / info.timing.timescale;
  auto keys = segmentKeysOf(protectionNodes, bases);
  if (!keys) keys = segmentKeysOf(set.protectionNodes, bases);
  _setSegmentSource(info, std::move(bases), period, identifier, std::move(keys), *representation);
  if (!representation->segments && !representation->indexedFile) return nullptr;
  representation->id =
      _uniqueID(period.prefix + '/' + set.id + '/' +
                (identifier.empty()
                     ? std::string(attributeOf(node, "bandwidth")).substr(0, kMaxDASHNameLength)
                     : identifier));
  return representation;
}

std::shared_ptr<const Initialization> DASHManifest::_initialization(
    const DASHSegmentInfo& info, const std::vector<std::string>& bases, std::string_view identifier,
    std::uint64_t bandwidth) const {
  Initialization initialization;
  if (info.initialization) {
    initialization.resource = {
        resolvedURLs(bases, info.initialization->reference, _queryFrom.get()),
        info.initialization->span};
  } else if (!info.initializationPattern.empty()) {
    const SegmentTemplate pattern(info.initializationPattern, identifier, bandwidth);
    if (pattern.isUsable())
      initialization.resource.urls =
          resolvedURLs(bases, pattern.expanded(0, 0, 1), _queryFrom.get());
  }
  if (initialization.resource.urls.empty()) return nullptr;
  return std::make_shared<const Initialization>(std::move(initialization));
}

/// Later versions of the manifest will not add segments.
bool DASHManifest::_isComplete(const SegmentTiming& timing, const DASHSegmentInfo& info,
                               const PeriodContext& period) const {
  if (!_isLive) return true;
  constexpr double kTolerance = 0.5;
  const bool hasRuns = timing.runs && !timing.runs->empty();
  if (!hasRuns && !info.list) return period.duration.has_value();
  if (!_isReloaded) return true;
  if (!period.duration) return false;
  double units = 0;
  if (hasRuns) {
    const auto& last = timing.runs->back();
    units = static_cast<double>(last.time) +
            static_cast<double>(last.count) * static_cast<double>(last.duration) -
            static_cast<double>(timing.timeOffset);
  } else {
    units = static_cast<double>(info.list->size()) * static_cast<double>(timing.duration);
  }
  return units / timing.timescale + kTolerance >= *period.duration;
}

std::optional<IndexedFile> DASHManifest::_indexedFile(const DASHSegmentInfo& info,
                                                      const std::vector<std::string>& bases,
                                                      const PeriodContext& period,
                                                      std::string_view identifier,
                                                      const Representation& representation) const {
  IndexedFile file;
  file.file.urls = resolvedURLs(bases, {}, _queryFrom.get());
  if (file.file.urls.empty()) return std::nullopt;
  file.initialization = _initialization(info, bases, identifier,
                                        static_cast<std::uint64_t>(representation.bandwidth));
  file.indexSpan = info.indexSpan;
  file.periodStart = period.start;
  if (period.duration) file.periodEnd = period.start + *period.duration;
  file.timeOffset = *representation.timeOffset;
  return file;
}

void DASHManifest::_setSegmentSource(const DASHSegmentInfo& info, std::vector<std::string> bases,
                                     const PeriodContext& period, std::string_view identifier,
                                     std::shared_ptr<const std::vector<SegmentKeyPeriod>> keys,
                                     Representation& representation) {
  const auto bandwidth = static_cast<std::uint64_t>(representation.bandwidth);
  const std::optional<double> end =
      period.duration ? std::optional(period.start + *period.duration) : std::nullopt;
  // Limits the memory for stored URLs, because short elements can inherit long URLs.
  constexpr std::size_t kBytesPerRepresentation = 1024;
  const std::size_t size = kBytesPerRepresentation + bytesIn(bases) + info.media.size() +
                           info.initializationPattern.size() +
                           (keys ? keys->size() * kMaxURLLength / 8 : 0);
  if (size > _urlBudget) return;
  _urlBudget -= size;
  const bool isFile = info.addressing == DASHSegmentInfo::Addressing::File ||
                      info.addressing == DASHSegmentInfo::Addressing::None ||
                      (info.addressing == DASHSegmentInfo::Addressing::List && !info.list);
  if (isFile) {
    representation.indexedFile = _indexedFile(info, bases, period, identifier, representation);
    return;
  }
  auto timing = std::make_shared<SegmentTiming>(info.timing);
  if (info.addressing == DASHSegmentInfo::Addressing::Template && info.media.empty()) return;
  const bool isComplete = _isComplete(*timing, info, period);
  // A single segment without timing spans the period.
  if (timing->duration == 0 && (!timing->runs || timing->runs->empty())) {
    if (!end) return;
    timing->duration = static_cast<std::uint64_t>(
        std::clamp((*end - period.start) * timing->timescale, 1.0, 1e18));
  }
  DASHSegmentIndex::Setup setup;
  setup.timing = std::move(timing);
  setup.periodStart = period.start;
  setup.periodEnd = end;
  if (_isLive) setup.availabilityStart = _availabilityStart;
  setup.timeShiftDepth = _timeShiftDepth;
  setup.queryFrom = _queryFrom;
  if (info.addressing == DASHSegmentInfo::Addressing::Template)
    setup.media.emplace(info.media, identifier, bandwidth);
  else
    setup.list = info.list;
  if (setup.media && !setup.media->isUsable()) return;
  setup.initialization = _initialization(info, bases, identifier, bandwidth);
  setup.keys = std::move(keys);
  setup.discontinuity = period.discontinuity;
  setup.isComplete = isComplete;
  setup.bases = std::move(bases);
  if (_longestSegment < kMaxEstimate)
    _longestSegment = std::max(
        _longestSegment, std::min(kMaxEstimate, static_cast<double>(timingUnits(*setup.timing)) /
                                                    setup.timing->timescale));
  representation.segments = std::make_shared<DASHSegmentIndex>(std::move(setup));
}

}  // namespace streaming
