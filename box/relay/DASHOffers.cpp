#include "box/relay/DASHOffers.h"

#include <algorithm>
#include <utility>

#include "box/relay/TimeText.h"
#include "platform/media/MediaFacts.h"

namespace box {
namespace {

constexpr std::size_t kMostText = 256;

struct Meaning {
  std::string_view scheme;
  std::string_view value;
  std::string_view characteristic;
};
constexpr std::string_view kRoles = "urn:mpeg:dash:role:2011";
constexpr std::string_view kPurposes = "urn:tva:metadata:cs:AudioPurposeCS:2007";
constexpr std::string_view kCaptions = "urn:scte:dash:cc:cea-608:2015";
constexpr Meaning kMeanings[] = {
    {kRoles, "main", platform::kMediaOptionDefault},
    {kRoles, "alternate", platform::kMediaOptionAuxiliary},
    {kRoles, "supplementary", platform::kMediaOptionAuxiliary},
    {kRoles, "commentary", platform::kMediaOptionCommentary},
    {kRoles, "caption", platform::kMediaOptionHardOfHearing},
    {kRoles, "description", platform::kMediaOptionDescribesVideo},
    {kPurposes, "1", platform::kMediaOptionDescribesVideo},
    {kPurposes, "2", platform::kMediaOptionHardOfHearing},
};

/// "audio", "video" or "text"; empty for what does not tell.
std::string typeFrom(const XMLAttributes& attributes) {
  const std::string_view content = valueOf(attributes, "contentType");
  if (!content.empty()) return std::string(content);
  const std::string_view mime = valueOf(attributes, "mimeType");
  if (mime == "application/mp4" || mime == "application/ttml+xml") return "text";
  return std::string(mime.substr(0, mime.find('/')));
}

}  // namespace

void DASHOffers::begin(std::string_view name, const XMLAttributes& attributes) {
  if (name == "Period") {
    ++_periods;
    _sets = 0;
  } else if (name == "AdaptationSet") {
    _inSet = true;
    _set = {};
    _set.language = valueOf(attributes, "lang");
    _type = typeFrom(attributes);
  } else if (name == "Representation") {
    if (_type.empty()) _type = typeFrom(attributes);
    if (_offers.variants.size() < StreamOffers::kMost)
      _offers.variants.push_back({std::string(valueOf(attributes, "id")),
                                  numberFrom(valueOf(attributes, "bandwidth")).value_or(0)});
  } else if (_inSet && (name == "Role" || name == "Accessibility")) {
    _noteMeaning(attributes);
  }
  _inLabel = _inSet && name == "Label";
}

void DASHOffers::text(std::string_view text) {
  if (_inLabel && _set.name.size() + text.size() <= kMostText) _set.name += text;
}

void DASHOffers::end(std::string_view name, const std::string&) {
  _inLabel = false;
  if (name == "AdaptationSet" && std::exchange(_inSet, false)) _finishSet();
}

void DASHOffers::_noteMeaning(const XMLAttributes& attributes) {
  const std::string_view scheme = valueOf(attributes, "schemeIdUri");
  const std::string_view value = valueOf(attributes, "value");
  if (scheme == kCaptions) _noteCaptions(value);
  if (scheme == kRoles && (value == "forced-subtitle" || value == "forced_subtitle"))
    _set.forced = true;
  for (const Meaning& each : kMeanings)
    if (each.scheme == scheme && each.value == value) {
      if (each.characteristic == platform::kMediaOptionDefault)
        _set.byDefault = true;
      else
        _set.characteristics.emplace_back(each.characteristic);
    }
}

/// "CC1=eng;CC3=swe", or a language alone, which is that of the first.
void DASHOffers::_noteCaptions(std::string_view channels) {
  while (!channels.empty() && _offers.streams.size() < StreamOffers::kMost) {
    const std::string_view each = channels.substr(0, channels.find(';'));
    channels.remove_prefix(std::min(channels.size(), each.size() + 1));
    const auto equals = each.find('=');
    StreamOffer offer;
    offer.stream = equals == each.npos ? "CC1" : each.substr(0, equals);
    offer.language = equals == each.npos ? each : each.substr(equals + 1);
    _offers.streams.push_back(std::move(offer));
  }
}

void DASHOffers::_finishSet() {
  // The engine counts all of a period's.
  _set.stream = _type + '-' + std::to_string(_sets++);
  if (_periods <= 1 && _offers.streams.size() < StreamOffers::kMost)
    _offers.streams.push_back(std::move(_set));
}

}  // namespace box
