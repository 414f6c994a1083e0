#include "streaming/manifest/DASHManifest.h"

#include <algorithm>
#include <map>
#include <utility>

#include "streaming/manifest/CodecNames.h"
#include "streaming/manifest/DASHEvents.h"
#include "streaming/manifest/DASHSets.h"
#include "streaming/manifest/TimeText.h"
#include "streaming/manifest/URLReference.h"

namespace streaming {
namespace {

constexpr std::size_t kMostPeriods = 1000;
constexpr std::size_t kMostRepresentations = 2000;

/// "25", or "30000/1001".
double frameRateOf(std::string_view text) {
  const auto slash = text.find('/');
  const double rate = numberFrom(text.substr(0, slash)).value_or(0);
  const double divisor = slash == text.npos ? 1 : numberFrom(text.substr(slash + 1)).value_or(1);
  return divisor > 0 ? std::max(0.0, rate / divisor) : 0;
}

int pixelsOf(std::string_view text) {
  constexpr double kLargest = 65536;
  const double value = numberFrom(text).value_or(0);
  return value > 0 && value <= kLargest ? static_cast<int>(value) : 0;
}

/// Segments that are encrypted by themselves (ISO/IEC 23009-4), with the same key throughout.
std::shared_ptr<const SegmentKey> segmentKeyOf(pugi::xml_node level,
                                               const std::vector<std::string>& bases) {
  for (const pugi::xml_node protection : childrenOf(level, "ContentProtection")) {
    const auto encryption = childOf(protection, "SegmentEncryption");
    const auto period = childOf(protection, "CryptoPeriod");
    if (!encryption || !period || bases.empty()) continue;
    auto url = resolveURL(bases.front(), attributeOf(period, "keyUriTemplate"));
    if (!url) continue;
    SegmentKey key;
    key.url = *std::move(url);
    const std::string_view digits = attributeOf(period, "IV");
    if (digits.size() == 34 && digits.starts_with("0x")) {
      std::array<std::byte, 16> vector{};
      for (std::size_t at = 0; at < vector.size(); ++at)
        vector[at] = static_cast<std::byte>(
            std::strtoul(std::string(digits.substr(2 + 2 * at, 2)).c_str(), nullptr, 16));
      key.initialVector = vector;
    }
    return std::make_shared<const SegmentKey>(std::move(key));
  }
  return nullptr;
}

const char* nameOf(MediaKind kind) {
  if (kind == MediaKind::Video) return "video";
  return kind == MediaKind::Audio ? "audio" : "text";
}

}  // namespace

std::shared_ptr<const Presentation> DASHManifest::read() {
  auto presentation = std::make_shared<Presentation>();
  _readHead(*presentation);
  _readPeriods(*presentation);
  if (presentation->periods.empty()) return nullptr;
  if (!presentation->duration && !_isLive) {
    const Period& last = presentation->periods.back();
    if (last.duration) presentation->duration = last.start + *last.duration;
  }
  return presentation;
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
  if (const auto interval = xmlDuration(_root, "minimumUpdatePeriod")) {
    constexpr double kShortest = 1;
    ReloadRule rule;
    rule.interval = std::max(*interval, kShortest);
    if (const auto location = childOf(_root, "Location"))
      rule.url = resolveURL(_origin.url, textOf(location)).value_or("");
    presentation.reload = std::move(rule);
  }
  constexpr std::size_t kMostClocks = 8;
  for (const pugi::xml_node clock : childrenOf(_root, "UTCTiming")) {
    if (presentation.clocks.size() == kMostClocks) break;
    std::string value(attributeOf(clock, "value"));
    if (attributeOf(clock, "schemeIdUri").find(":http-") != std::string_view::npos)
      value = resolveURL(_origin.url, value).value_or("");
    presentation.clocks.emplace_back(attributeOf(clock, "schemeIdUri"), std::move(value));
  }
}

void DASHManifest::_readPeriods(Presentation& presentation) {
  const auto nodes = childrenOf(_root, "Period");
  const std::vector<std::string> bases = baseURLs(_root, {_origin.url});
  double next = 0;
  for (std::size_t at = 0; at < std::min(nodes.size(), kMostPeriods); ++at) {
    const pugi::xml_node node = nodes[at];
    // What is elsewhere, or was resolved to nothing, is not fetched.
    if (hasAttribute(node, "href")) continue;
    PeriodContext context;
    context.index = at;
    context.start = xmlDuration(node, "start").value_or(next);
    context.duration = xmlDuration(node, "duration");
    if (!context.duration && at + 1 < nodes.size())
      if (const auto start = xmlDuration(nodes[at + 1], "start"); start && *start >= context.start)
        context.duration = *start - context.start;
    if (!context.duration && at + 1 == nodes.size() && presentation.duration)
      context.duration = std::max(0.0, *presentation.duration - context.start);
    next = context.start + context.duration.value_or(0);
    if (context.duration == 0) continue;
    context.bases = baseURLs(node, bases);
    context.info.read(node, context.duration);
    Period period;
    period.id = hasAttribute(node, "id") ? std::string(attributeOf(node, "id"))
                                         : "period-" + std::to_string(at);
    period.start = context.start;
    period.duration = context.duration;
    std::size_t number = 0;
    for (const pugi::xml_node set : childrenOf(node, "AdaptationSet"))
      _readSet(set, context, number++, period.tracks);
    _addSoundWithin(period.tracks);
    addPeriodEvents(node, context.start, presentation.events);
    const bool hasMedia =
        std::any_of(period.tracks.begin(), period.tracks.end(),
                    [](const auto& each) { return each.kind != MediaKind::Text; });
    if (hasMedia) presentation.periods.push_back(std::move(period));
  }
  std::stable_sort(presentation.periods.begin(), presentation.periods.end(),
                   [](const Period& a, const Period& b) { return a.start < b.start; });
}

/// The sound that is in the segments of a picture is a track of its own.
void DASHManifest::_addSoundWithin(std::vector<Track>& tracks) {
  bool isWithin = false;
  for (const Track& track : tracks) {
    if (track.kind == MediaKind::Audio) return;
    for (const auto& each : track.representations) isWithin = isWithin || each->carriesSound;
  }
  if (!isWithin) return;
  Track sound;
  sound.kind = MediaKind::Audio;
  sound.id = "audio";
  sound.isWithinPicture = true;
  tracks.push_back(std::move(sound));
}

void DASHManifest::_readSet(pugi::xml_node set, const PeriodContext& period, std::size_t number,
                            std::vector<Track>& tracks) {
  const EssentialUse use = essentialUse(set);
  if (use == EssentialUse::LeaveOut) return;
  const auto nodes = childrenOf(set, "Representation");
  DASHSegmentInfo info = period.info;
  info.read(set, period.duration);
  const std::vector<std::string> bases = baseURLs(set, period.bases);
  Track track;
  std::optional<MediaKind> kind;
  for (const pugi::xml_node node : nodes) {
    if (track.representations.size() == kMostRepresentations) break;
    const EssentialUse ownUse = essentialUse(node);
    const auto ownKind = dashMediaKind(set, node);
    if (ownUse == EssentialUse::LeaveOut || !ownKind || (kind && *kind != *ownKind)) continue;
    kind = ownKind;
    const std::string setID = hasAttribute(set, "id") ? std::string(attributeOf(set, "id"))
                                                      : "set-" + std::to_string(number);
    auto representation = _representation(set, node, period, info, bases, setID);
    if (!representation) continue;
    representation->isKeyFramesOnly =
        use == EssentialUse::KeyFramesOnly || ownUse == EssentialUse::KeyFramesOnly;
    if (*kind == MediaKind::Text) representation->textForm = dashTextForm(*representation);
    const bool hasComponents = childrenOf(set, "ContentComponent").size() > 1;
    representation->carriesSound = *kind == MediaKind::Video &&
                                   (hasComponents || holdsPictureAndSound(representation->codecs));
    track.representations.push_back(std::move(representation));
  }
  if (!kind || track.representations.empty()) return;
  track.kind = *kind;
  readTrackMeaning(set, track);
  std::stable_sort(track.representations.begin(), track.representations.end(),
                   [](const auto& a, const auto& b) { return a->bandwidth < b->bandwidth; });
  if (*kind == MediaKind::Video) addCaptionTracks(set, tracks);
  // Key frames for scanning belong to the picture that they are of.
  const auto picture = std::find_if(tracks.begin(), tracks.end(), [](const Track& each) {
    return each.kind == MediaKind::Video && !each.representations.front()->isKeyFramesOnly;
  });
  if (use == EssentialUse::KeyFramesOnly && picture != tracks.end()) {
    picture->representations.insert(picture->representations.end(), track.representations.begin(),
                                    track.representations.end());
    return;
  }
  // The same name in each period, so that a selection survives into the next one.
  std::string id = nameOf(*kind);
  if (!track.language.empty()) id += ':' + track.language;
  if (!track.name.empty()) id += ':' + track.name;
  for (const std::string& each : track.characteristics) id += ':' + each;
  if (const auto& codecs = track.representations.front()->codecs;
      *kind == MediaKind::Audio && !codecs.empty())
    id += ':' + codecs.front().substr(0, codecs.front().find('.'));
  const auto isTaken = [&](const std::string& name) {
    return std::any_of(tracks.begin(), tracks.end(),
                       [&](const Track& each) { return each.id == name; });
  };
  track.id = id;
  for (int count = 2; isTaken(track.id); ++count) track.id = id + '#' + std::to_string(count);
  tracks.push_back(std::move(track));
}

std::shared_ptr<Representation> DASHManifest::_representation(
    pugi::xml_node set, pugi::xml_node node, const PeriodContext& period,
    const DASHSegmentInfo& setInfo, const std::vector<std::string>& setBases,
    const std::string& trackID) const {
  auto representation = std::make_shared<Representation>();
  const std::string identifier(attributeOf(node, "id"));
  representation->id =
      std::to_string(period.index) + '/' + trackID + '/' +
      (identifier.empty() ? std::string(attributeOf(node, "bandwidth")) : identifier);
  representation->bandwidth = xmlNumber(node, "bandwidth").value_or(0);
  representation->codecs = partsOfList(inheritedAttribute(set, node, "codecs"));
  representation->mimeType = inheritedAttribute(set, node, "mimeType");
  representation->width = pixelsOf(inheritedAttribute(set, node, "width"));
  representation->height = pixelsOf(inheritedAttribute(set, node, "height"));
  representation->frameRate = frameRateOf(inheritedAttribute(set, node, "frameRate"));
  representation->protections = protectionsOf(node);
  for (Protection& each : protectionsOf(set))
    representation->protections.push_back(std::move(each));
  DASHSegmentInfo info = setInfo;
  info.read(node, period.duration);
  const std::vector<std::string> bases = baseURLs(node, setBases);
  representation->timeOffset =
      period.start - static_cast<double>(info.timing.timeOffset) / info.timing.timescale;
  auto key = segmentKeyOf(node, bases);
  if (!key) key = segmentKeyOf(set, bases);
  _locate(info, bases, period, identifier, std::move(key), *representation);
  if (!representation->segments && !representation->indexedFile) return nullptr;
  return representation;
}

std::shared_ptr<const Initialization> DASHManifest::_initialization(
    const DASHSegmentInfo& info, const std::vector<std::string>& bases, std::string_view identifier,
    std::uint64_t bandwidth) const {
  Initialization initialization;
  if (info.initialization) {
    initialization.resource = {
        resolvedURLs(bases, info.initialization->reference, _origin.inheritsQuery),
        info.initialization->span};
  } else if (!info.initializationPattern.empty()) {
    const SegmentTemplate pattern(info.initializationPattern, identifier, bandwidth);
    initialization.resource.urls =
        resolvedURLs(bases, pattern.filledIn(0, 0), _origin.inheritsQuery);
  }
  if (initialization.resource.urls.empty()) return nullptr;
  return std::make_shared<const Initialization>(std::move(initialization));
}

void DASHManifest::_locate(const DASHSegmentInfo& info, const std::vector<std::string>& bases,
                           const PeriodContext& period, std::string_view identifier,
                           std::shared_ptr<const SegmentKey> key,
                           Representation& representation) const {
  const auto bandwidth = static_cast<std::uint64_t>(std::min(representation.bandwidth, 1e15));
  const std::optional<double> end =
      period.duration ? std::optional(period.start + *period.duration) : std::nullopt;
  const bool isFile = info.form == DASHSegmentInfo::Form::File ||
                      info.form == DASHSegmentInfo::Form::None ||
                      (info.form == DASHSegmentInfo::Form::List && !info.list);
  if (isFile) {
    IndexedFile file;
    file.file.urls = resolvedURLs(bases, {}, _origin.inheritsQuery);
    if (file.file.urls.empty()) return;
    file.initialization = _initialization(info, bases, identifier, bandwidth);
    file.indexSpan = info.indexSpan;
    file.periodStart = period.start;
    file.periodEnd = end;
    file.timeOffset = *representation.timeOffset;
    representation.indexedFile = std::move(file);
    return;
  }
  auto timing = std::make_shared<SegmentTiming>(info.timing);
  if (info.form == DASHSegmentInfo::Form::Template && info.media.empty()) return;
  // A single segment without times fills the period.
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
  setup.bases = bases;
  setup.inheritsQuery = _origin.inheritsQuery;
  if (info.form == DASHSegmentInfo::Form::Template)
    setup.media.emplace(info.media, identifier, bandwidth);
  else
    setup.list = info.list;
  setup.initialization = _initialization(info, bases, identifier, bandwidth);
  setup.key = std::move(key);
  setup.discontinuity = period.index;
  setup.isComplete = !_isLive || end.has_value();
  representation.segments = std::make_shared<DASHSegmentIndex>(std::move(setup));
}

}  // namespace streaming
