#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "streaming/manifest/dash/DASHAdaptationSets.h"
#include "streaming/manifest/dash/DASHManifest.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxSets = 500;
constexpr std::size_t kMaxRepresentations = 500;
constexpr std::size_t kMaxLinkedSets = 64;
constexpr std::string_view kSwitching = "urn:mpeg:dash:adaptation-set-switching:2016";

const char* nameOf(MediaKind kind) {
  if (kind == MediaKind::Video) return "video";
  return kind == MediaKind::Audio ? "audio" : "text";
}

std::string_view codecFamily(const Track& track) {
  const auto& codecs = track.representations.front()->codecs;
  if (codecs.empty()) return {};
  return std::string_view(codecs.front()).substr(0, codecs.front().find('.'));
}

/// The same in each period, so that a selection is kept across periods.
std::string trackIDOf(const Track& track) {
  std::string id = nameOf(track.kind);
  if (!track.language.empty()) id += ':' + track.language;
  if (!track.name.empty()) id += ':' + track.name;
  for (const std::string& each : track.characteristics) id += ':' + each;
  if (const auto codec = codecFamily(track); track.kind == MediaKind::Audio && !codec.empty())
    id.append(":").append(codec);
  return id;
}

/// Assigns unique track IDs within a period.
class TrackIDs {
 public:
  /// Appends a number if `id` is taken.
  std::string unique(const std::string& id) {
    const auto [known, isNew] = _counts.try_emplace(id, 1);
    if (isNew) return id;
    std::string name;
    do name = id + '#' + std::to_string(++known->second);
    while (!_counts.try_emplace(name, 1).second);
    return name;
  }
  bool add(const std::string& id) { return _counts.try_emplace(id, 1).second; }

 private:
  std::map<std::string, unsigned, std::less<>> _counts;
};

bool isListed(const std::vector<std::string>& names, const std::string& name) {
  return !name.empty() && std::find(names.begin(), names.end(), name) != names.end();
}

void addRepresentations(const Track& from, Track& to) {
  to.representations.insert(to.representations.end(), from.representations.begin(),
                            from.representations.end());
}

/// Adds an audio track for audio that is muxed into the video.
void addMuxedAudio(std::string_view language, std::vector<Track>& tracks) {
  bool isWithin = false;
  for (const Track& track : tracks) {
    if (track.kind == MediaKind::Audio) return;
    for (const auto& each : track.representations) isWithin = isWithin || each->includesAudio;
  }
  if (!isWithin) return;
  Track sound;
  sound.kind = MediaKind::Audio;
  sound.id = "audio";
  sound.language = language;
  sound.isMuxedIntoVideo = true;
  tracks.push_back(std::move(sound));
}

/// The IDs in the value of a property, split at `separator`.
std::vector<std::string> linkedSetsOf(pugi::xml_node set, std::string_view element,
                                      std::string_view scheme, char separator) {
  std::vector<std::string> linkedSets;
  for (const pugi::xml_node property : childrenOf(set, element)) {
    const std::string_view propertyScheme = attributeOf(property, "schemeIdUri");
    if (scheme.empty() ? !isTrickModeScheme(propertyScheme) : propertyScheme != scheme) continue;
    std::string_view value = attributeOf(property, "value");
    while (!value.empty() && linkedSets.size() < kMaxLinkedSets) {
      const auto end = std::min(value.find(separator), value.size());
      linkedSets.emplace_back(value.substr(0, end));
      value.remove_prefix(std::min(end + 1, value.size()));
    }
  }
  return linkedSets;
}

}  // namespace

std::vector<Track> DASHManifest::_readTracks(pugi::xml_node period, const PeriodContext& context) {
  std::vector<ParsedSet> sets;
  std::string audioLanguage;
  std::size_t number = 0;
  for (const pugi::xml_node node : childrenOf(period, "AdaptationSet")) {
    if (number == kMaxSets) break;
    auto read = _readSet(node, context, number++);
    if (!read) continue;
    if (audioLanguage.empty() && read->track.kind == MediaKind::Video)
      audioLanguage = languageWithin(node, "audio");
    // Sets that are linked for seamless switching form one track.
    const auto partner = std::find_if(sets.begin(), sets.end(), [&](const ParsedSet& each) {
      return each.isKeyFramesOnly == read->isKeyFramesOnly && !read->isKeyFramesOnly &&
             (isListed(each.linkedSets, read->id) || isListed(read->linkedSets, each.id)) &&
             each.track.kind == read->track.kind && each.track.language == read->track.language &&
             codecFamily(each.track) == codecFamily(read->track);
    });
    if (partner != sets.end())
      addRepresentations(read->track, partner->track);
    else
      sets.push_back(*std::move(read));
  }
  // Key frame representations are added to the track they belong to.
  for (const ParsedSet& frames : sets) {
    if (!frames.isKeyFramesOnly) continue;
    ParsedSet* picture = nullptr;
    for (ParsedSet& each : sets) {
      if (each.isKeyFramesOnly || each.track.kind != frames.track.kind) continue;
      const bool isLinked = isListed(frames.linkedSets, each.id);
      if (!picture || isLinked) picture = &each;
      if (isLinked) break;
    }
    if (picture) addRepresentations(frames.track, picture->track);
  }
  std::vector<Track> tracks;
  TrackIDs names;
  for (ParsedSet& each : sets) {
    if (each.isKeyFramesOnly) continue;
    // Several sets may announce the same captions.
    for (Track& captions : each.captions)
      if (names.add(captions.id)) tracks.push_back(std::move(captions));
    std::stable_sort(each.track.representations.begin(), each.track.representations.end(),
                     [](const auto& a, const auto& b) {
                       return std::pair(a->isKeyFramesOnly, a->bandwidth) <
                              std::pair(b->isKeyFramesOnly, b->bandwidth);
                     });
    each.track.id = names.unique(trackIDOf(each.track));
    tracks.push_back(std::move(each.track));
  }
  addMuxedAudio(audioLanguage, tracks);
  return tracks;
}

std::optional<DASHManifest::ParsedSet> DASHManifest::_readSet(pugi::xml_node node,
                                                              const PeriodContext& period,
                                                              std::size_t number) {
  const EssentialUse use = essentialUse(node);
  if (use == EssentialUse::LeaveOut) return std::nullopt;
  ParsedSet read;
  read.id = attributeOf(node, "id").substr(0, kMaxDASHNameLength);
  read.isKeyFramesOnly = use == EssentialUse::KeyFramesOnly;
  read.linkedSets = read.isKeyFramesOnly
                        ? linkedSetsOf(node, "EssentialProperty", {}, ' ')
                        : linkedSetsOf(node, "SupplementalProperty", kSwitching, ',');
  SetContext set;
  set.node = node;
  set.id = read.id.empty() ? "set-" + std::to_string(number) : read.id;
  set.info = period.info;
  set.info.read(node, period.duration);
  set.bases = baseURLs(node, period.bases);
  set.protectionNodes = protectionNodesOf(node);
  set.protections = protectionsOf(set.protectionNodes);
  set.hasUnknownEncryption = hasUnknownSegmentEncryption(set.protectionNodes);
  set.componentKind = dashComponentKind(node);
  _readRepresentations(set, period, read);
  if (read.track.representations.empty()) return std::nullopt;
  readTrackAttributes(node, read.track);
  if (read.track.kind == MediaKind::Video && !read.isKeyFramesOnly)
    read.captions = captionTracks(node);
  return read;
}

void DASHManifest::_readRepresentations(const SetContext& set, const PeriodContext& period,
                                        ParsedSet& read) {
  const bool hasComponents = hasVideoAndAudioComponents(set.node);
  std::optional<MediaKind> kind;
  for (const pugi::xml_node node : childrenOf(set.node, "Representation")) {
    if (read.track.representations.size() == kMaxRepresentations) break;
    const EssentialUse use = essentialUse(node);
    const auto ownKind = dashMediaKind(set.node, node, set.componentKind);
    if (use == EssentialUse::LeaveOut || !ownKind || (kind && *kind != *ownKind)) continue;
    auto representation = _representation(set, node, period);
    if (!representation) continue;
    kind = ownKind;
    representation->isKeyFramesOnly = read.isKeyFramesOnly || use == EssentialUse::KeyFramesOnly;
    if (*kind == MediaKind::Text) representation->textFormat = dashTextFormat(*representation);
    representation->includesAudio =
        *kind == MediaKind::Video &&
        (hasComponents || hasVideoAndAudioCodecs(representation->codecs));
    read.track.representations.push_back(std::move(representation));
  }
  if (kind) read.track.kind = *kind;
}

}  // namespace streaming
