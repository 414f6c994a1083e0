#include "box/relay/HLSOffers.h"

#include <algorithm>
#include <utility>

#include "box/relay/HLSAttributes.h"
#include "box/relay/TimeText.h"
#include "platform/media/MediaFacts.h"

namespace box {
namespace {

struct Meaning {
  std::string_view name;
  std::string_view characteristic;
};
constexpr Meaning kMeanings[] = {
    {"public.accessibility.describes-video", platform::kMediaOptionDescribesVideo},
    {"public.accessibility.transcribes-spoken-dialog", platform::kMediaOptionTranscribes},
    {"public.accessibility.describes-music-and-sound", platform::kMediaOptionHardOfHearing},
};

/// How the engine begins the name of a stream of this type.
std::string_view prefixOf(std::string_view type) {
  if (type == "AUDIO") return "audio-";
  if (type == "SUBTITLES") return "text-";
  return type == "VIDEO" ? "video-" : std::string_view();
}

void addCharacteristics(std::string_view list, StreamOffer& offer) {
  while (!list.empty()) {
    const std::string_view each = list.substr(0, list.find(','));
    list.remove_prefix(std::min(list.size(), each.size() + 1));
    const auto known = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                    [&](const Meaning& meaning) { return meaning.name == each; });
    if (!each.empty())
      offer.characteristics.emplace_back(known == std::end(kMeanings) ? each
                                                                      : known->characteristic);
  }
}

bool says(std::string_view list, std::string_view name) { return attributeOf(list, name) == "YES"; }

}  // namespace

void HLSOffers::addTag(std::string_view name, std::string_view list) {
  if (name == "EXT-X-STREAM-INF")
    _bitrate = numberFrom(attributeOf(list, "BANDWIDTH").value_or("")).value_or(0);
  if (name != "EXT-X-MEDIA" || _offers.streams.size() == StreamOffers::kMost) return;
  const std::string type = attributeOf(list, "TYPE").value_or("");
  StreamOffer offer;
  offer.name = attributeOf(list, "NAME").value_or("");
  offer.stream = type == "CLOSED-CAPTIONS" ? attributeOf(list, "INSTREAM-ID").value_or("")
                                           : std::string(prefixOf(type)) + offer.name;
  offer.language = attributeOf(list, "LANGUAGE").value_or("");
  offer.forced = says(list, "FORCED");
  offer.byDefault = says(list, "DEFAULT");
  addCharacteristics(attributeOf(list, "CHARACTERISTICS").value_or(""), offer);
  if (!offer.byDefault && attributeOf(list, "AUTOSELECT") == "NO")
    offer.characteristics.emplace_back(platform::kMediaOptionAuxiliary);
  _offers.streams.push_back(std::move(offer));
}

void HLSOffers::addVariant(std::string url) {
  if (_offers.variants.size() < StreamOffers::kMost)
    _offers.variants.push_back({std::move(url), std::exchange(_bitrate, 0)});
}

}  // namespace box
