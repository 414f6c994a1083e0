#include "streaming/manifest/hls/HLSMultivariant.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/Value.h"
#include "platform/media/MediaSelection.h"
#include "streaming/foundation/Text.h"
#include "streaming/foundation/URL.h"
#include "streaming/manifest/CodecNames.h"

namespace streaming {
namespace {

/// Maximum number of variants, and of renditions.
constexpr std::size_t kMaxEntries = 500;

struct Characteristic {
  std::string_view name;
  std::string_view meaning;
};
constexpr Characteristic kCharacteristics[] = {
    {"public.accessibility.describes-video", platform::kMediaOptionDescribesVideo},
    {"public.accessibility.transcribes-spoken-dialog", platform::kMediaOptionTranscribes},
    {"public.accessibility.describes-music-and-sound", platform::kMediaOptionHardOfHearing},
};

bool isAudioOnly(const Representation& variant) {
  return variant.height == 0 && !variant.codecs.empty() &&
         std::all_of(variant.codecs.begin(), variant.codecs.end(),
                     [](const auto& codec) { return isAudioCodec(codec); });
}

bool listsAudioCodec(const Representation& variant) {
  return variant.codecs.empty() ||
         std::any_of(variant.codecs.begin(), variant.codecs.end(),
                     [](const auto& codec) { return isAudioCodec(codec); });
}

void readResolution(std::string_view text, Representation& variant) {
  const auto cross = text.find_first_of("xX");
  if (cross == text.npos) return;
  const auto width = numberOf(text.substr(0, cross));
  const auto height = numberOf(text.substr(cross + 1));
  constexpr std::uint64_t kMaxPixels = 65536;
  if (!width || !height || *width > kMaxPixels || *height > kMaxPixels) return;
  variant.width = static_cast<int>(*width);
  variant.height = static_cast<int>(*height);
}

}  // namespace

void HLSMultivariant::addTag(std::string_view name, std::string_view value) {
  if (name == "EXT-X-STREAM-INF") {
    _isMultivariant = true;
    _next = _variant(HLSAttributes(value));
  } else if (name == "EXT-X-I-FRAME-STREAM-INF") {
    _isMultivariant = true;
    const HLSAttributes attributes(value);
    const auto url = _resolved(attributes.text("URI"));
    if (!url) return;
    auto variant = _variant(attributes);
    variant->isKeyFramesOnly = true;
    variant->playlistURL = *url;
    _keep(std::move(variant));
  } else if (name == "EXT-X-MEDIA") {
    _isMultivariant = true;
    _addRendition(HLSAttributes(value));
  } else if (name == "EXT-X-START") {
    _startOffset = HLSAttributes(value).number("TIME-OFFSET");
  }
}

void HLSMultivariant::addURI(std::string_view reference) {
  auto variant = std::exchange(_next, nullptr);
  const auto url = variant ? _resolved(reference) : std::nullopt;
  if (!url) return;
  variant->playlistURL = *url;
  _keep(std::move(variant));
}

std::optional<std::string> HLSMultivariant::_resolved(std::string_view reference) const {
  auto url = resolveURL(_origin.url, reference);
  if (url && _origin.inheritsQuery) url = withQueryOf(_origin.url, *url);
  return url;
}

std::shared_ptr<Representation> HLSMultivariant::_variant(const HLSAttributes& attributes) const {
  auto variant = std::make_shared<Representation>();
  variant->bandwidth = std::max(0.0, attributes.number("BANDWIDTH").value_or(0));
  variant->averageBandwidth = std::max(0.0, attributes.number("AVERAGE-BANDWIDTH").value_or(0));
  variant->frameRate = std::max(0.0, attributes.number("FRAME-RATE").value_or(0));
  variant->codecs = partsOfList(attributes.text("CODECS"));
  readResolution(attributes.text("RESOLUTION"), *variant);
  variant->audioGroup = attributes.text("AUDIO");
  variant->textGroup = attributes.text("SUBTITLES");
  return variant;
}

/// Drops variants with the same URI and audio group.
void HLSMultivariant::_keep(std::shared_ptr<Representation> variant) {
  if (_variants.size() == kMaxEntries) return;
  variant->id = variant->playlistURL;
  if (!variant->audioGroup.empty()) variant->id += ' ' + variant->audioGroup;
  const bool isKnown = std::any_of(_variants.begin(), _variants.end(),
                                   [&](const auto& each) { return each->id == variant->id; });
  if (!isKnown) _variants.push_back(std::move(variant));
}

void HLSMultivariant::_addRendition(const HLSAttributes& attributes) {
  if (_renditions.size() == kMaxEntries) return;
  Rendition rendition;
  rendition.type = attributes.text("TYPE");
  rendition.group = attributes.text("GROUP-ID");
  rendition.channels = attributes.text("CHANNELS");
  if (const auto reference = attributes.find("URI"))
    rendition.url = _resolved(*reference).value_or("");
  Track& track = rendition.track;
  track.name = attributes.text("NAME");
  track.language = attributes.text("LANGUAGE");
  track.isForced = attributes.isYes("FORCED");
  track.isDefault = attributes.isYes("DEFAULT");
  if (rendition.type == "CLOSED-CAPTIONS") {
    const std::string channel = attributes.text("INSTREAM-ID");
    constexpr std::string_view kCaptionChannels[] = {"CC1", "CC2", "CC3", "CC4", "SERVICE1"};
    if (std::find(std::begin(kCaptionChannels), std::end(kCaptionChannels), channel) ==
        std::end(kCaptionChannels))
      return;
    track.captionChannel = channel;
  }
  for (const std::string& each : partsOfList(attributes.text("CHARACTERISTICS"))) {
    const auto known =
        std::find_if(std::begin(kCharacteristics), std::end(kCharacteristics),
                     [&](const Characteristic& meaning) { return meaning.name == each; });
    track.characteristics.emplace_back(known == std::end(kCharacteristics) ? std::string_view(each)
                                                                           : known->meaning);
  }
  if (!track.isDefault && attributes.find("AUTOSELECT") == "NO")
    track.characteristics.emplace_back(platform::kMediaOptionAuxiliary);
  _renditions.push_back(std::move(rendition));
}

/// The audio is muxed into the variant.
bool HLSMultivariant::_hasMuxedAudio(const Representation& variant) const {
  if (!listsAudioCodec(variant)) return false;
  bool hasGroup = false;
  for (const Rendition& each : _renditions) {
    if (each.type != "AUDIO" || each.group != variant.audioGroup) continue;
    if (each.url.empty()) return true;
    hasGroup = true;
  }
  return !hasGroup;
}

void HLSMultivariant::_addVideo(std::vector<Track>& tracks) {
  Track picture;
  picture.kind = MediaKind::Video;
  picture.id = "video";
  for (const auto& variant : _variants) {
    if (isAudioOnly(*variant)) continue;
    variant->includesAudio = !variant->isKeyFramesOnly && _hasMuxedAudio(*variant);
    picture.representations.push_back(variant);
  }
  std::stable_sort(picture.representations.begin(), picture.representations.end(),
                   [](const auto& a, const auto& b) { return a->bandwidth < b->bandwidth; });
  if (!picture.representations.empty()) tracks.push_back(std::move(picture));
}

bool HLSMultivariant::_isUsed(const Rendition& rendition) const {
  return std::any_of(_variants.begin(), _variants.end(), [&](const auto& each) {
    return each->audioGroup == rendition.group && !each->isKeyFramesOnly;
  });
}

/// Adds an audio track for variants without audio renditions.
void HLSMultivariant::_addAudio(std::vector<Track>& tracks) const {
  const bool hasRenditions =
      std::any_of(_renditions.begin(), _renditions.end(),
                  [this](const auto& each) { return each.type == "AUDIO" && _isUsed(each); });
  if (hasRenditions) return;
  Track sound;
  sound.kind = MediaKind::Audio;
  sound.id = "audio";
  const bool hasVideo = !tracks.empty();
  for (const auto& variant : _variants) {
    if (hasVideo && variant->includesAudio) sound.isMuxedIntoVideo = true;
    if (!hasVideo) sound.representations.push_back(variant);
  }
  std::stable_sort(sound.representations.begin(), sound.representations.end(),
                   [](const auto& a, const auto& b) { return a->bandwidth < b->bandwidth; });
  if (sound.isMuxedIntoVideo || !sound.representations.empty()) tracks.push_back(std::move(sound));
}

/// The codec of a text rendition is listed with its variants.
TextFormat HLSMultivariant::_textFormat(const std::string& group) const {
  for (const auto& variant : _variants)
    if (variant->textGroup == group)
      for (const std::string& codec : variant->codecs)
        if (isTextCodec(codec)) return TextFormat::MP4;
  return TextFormat::WebVTT;
}

std::vector<std::string> HLSMultivariant::_audioCodecs(const std::string& group) const {
  std::vector<std::string> codecs;
  for (const auto& variant : _variants) {
    if (variant->audioGroup != group) continue;
    for (const std::string& codec : variant->codecs)
      if (isAudioCodec(codec)) codecs.push_back(codec);
    break;
  }
  return codecs;
}

/// Renditions with the same name and language in several groups form one track.
void HLSMultivariant::_addRenditions(std::string_view type, MediaKind kind,
                                     std::vector<Track>& tracks) const {
  for (const Rendition& each : _renditions) {
    if (each.type != type || (kind == MediaKind::Text && each.url.empty())) continue;
    std::string id = (kind == MediaKind::Audio ? "audio:" : "text:") + each.track.language + ':' +
                     each.track.name;
    if (each.track.isForced) id += ":forced";
    auto track = std::find_if(tracks.begin(), tracks.end(),
                              [&](const Track& known) { return known.id == id; });
    if (track == tracks.end()) {
      tracks.push_back(each.track);
      track = std::prev(tracks.end());
      track->kind = kind;
      track->id = id;
    }
    if (each.url.empty()) {
      _addMuxedRendition(each, *track, tracks.front().kind == MediaKind::Video);
      continue;
    }
    track->isMuxedIntoVideo = false;
    auto representation = std::make_shared<Representation>();
    representation->id = each.url + ' ' + each.group;
    representation->playlistURL = each.url;
    representation->group = each.group;
    if (kind == MediaKind::Text)
      representation->textFormat = _textFormat(each.group);
    else
      representation->codecs = _audioCodecs(each.group);
    const bool isKnown =
        std::any_of(track->representations.begin(), track->representations.end(),
                    [&](const auto& known) { return known->id == representation->id; });
    if (!isKnown) track->representations.push_back(std::move(representation));
  }
}

/// A rendition without a URI is muxed into the variants of its group.
void HLSMultivariant::_addMuxedRendition(const Rendition& rendition, Track& track,
                                         bool hasVideo) const {
  if (hasVideo) {
    // Final once all renditions of the track have been added.
    track.isMuxedIntoVideo = track.representations.empty();
    return;
  }
  auto& known = track.representations;
  for (const auto& variant : _variants) {
    if (variant->audioGroup == rendition.group &&
        std::find(known.begin(), known.end(), variant) == known.end())
      known.push_back(variant);
  }
}

std::shared_ptr<const Presentation> HLSMultivariant::finish() {
  if (_variants.empty()) return nullptr;
  auto presentation = std::make_shared<Presentation>();
  presentation->startOffset = _startOffset;
  Period& period = presentation->periods.emplace_back();
  _addVideo(period.tracks);
  _addAudio(period.tracks);
  _addRenditions("AUDIO", MediaKind::Audio, period.tracks);
  _addRenditions("SUBTITLES", MediaKind::Text, period.tracks);
  for (const Rendition& each : _renditions) {
    if (each.track.captionChannel.empty()) continue;
    Track captions = each.track;
    captions.kind = MediaKind::Text;
    captions.id = captions.captionChannel;
    const bool isKnown = std::any_of(period.tracks.begin(), period.tracks.end(),
                                     [&](const Track& known) { return known.id == captions.id; });
    if (!isKnown) period.tracks.push_back(std::move(captions));
  }
  if (period.tracks.empty()) return nullptr;
  return presentation;
}

}  // namespace streaming
