#include "media/metadata/EventMessages.h"

#include "media/metadata/ID3Tag.h"
#include "platform/foundation/Value.h"
#include "platform/media/TimedMetadataItem.h"
#include "streaming/manifest/EventKeys.h"

namespace media {
namespace {

constexpr std::size_t kPendingLimit = 64;
constexpr std::uint32_t kUnknownDuration = 0xffffffff;
constexpr std::string_view kID3Scheme = "https://aomedia.org/emsg/ID3";

}  // namespace

MetadataTimeline::Items itemsOfEvent(const EventMessage& event) {
  if (event.scheme == kID3Scheme) return itemsOfID3Tag(event.data);
  platform::TimedMetadataItem item;
  item.key = event.value.empty() ? event.scheme : event.scheme + ' ' + event.value;
  item.keySpace = std::string(streaming::kKeySpaceEvents);
  const auto data = std::as_bytes(std::span(event.data));
  item.value = platform::Value(platform::Bytes(data.begin(), data.end()));
  item.extraAttributes.set(std::string(streaming::kEventIdentifier),
                           std::uint64_t{event.identifier});
  if (event.duration)
    item.extraAttributes.set(std::string(streaming::kEventDuration), *event.duration);
  return {std::move(item)};
}

std::optional<EventBox> readEventMessage(BoxBytes content) {
  BoxReader reader(content);
  const std::uint8_t version = reader.version();
  if (version > 1) return std::nullopt;
  EventBox box;
  EventMessage& event = box.message;
  if (version == 0) {
    event.scheme = reader.text();
    event.value = reader.text();
  }
  const auto timescale = static_cast<double>(reader.number32());
  const auto time = static_cast<double>(reader.number(version == 0 ? 4 : 8));
  const std::uint32_t duration = reader.number32();
  event.identifier = reader.number32();
  if (version == 1) {
    event.scheme = reader.text();
    event.value = reader.text();
  }
  if (!reader.isGood() || timescale == 0) return std::nullopt;
  if (duration != kUnknownDuration) event.duration = duration / timescale;
  event.data.assign(reader.rest().begin(), reader.rest().end());
  box.seconds = time / timescale;
  box.isAbsolute = version == 1;
  return box;
}

void EventMessages::takeBox(std::uint32_t type, BoxBytes content) {
  if (type == boxType("emsg") && _pending.size() < kPendingLimit)
    if (auto event = readEventMessage(content)) _pending.push_back(*std::move(event));
  if (type == boxType("moov")) _takeTracks(content);
  if (type == boxType("moof")) _takeFragment(content);
}

void EventMessages::_takeTracks(BoxBytes movie) {
  _timescales.clear();
  for (const MovieTrack& each : tracksOf(movie)) _timescales[each.number] = each.timescale;
}

void EventMessages::_takeFragment(BoxBytes fragment) {
  std::optional<double> time;
  forEachBox(fragment, boxType("traf"), [&](BoxBytes track) {
    if (time) return;
    std::uint32_t number = 0;
    forEachBox(track, boxType("tfhd"), [&](BoxBytes content) {
      BoxReader reader(content);
      reader.version();
      number = reader.number32();
    });
    const auto timescale = _timescales.find(number);
    if (timescale == _timescales.end() || timescale->second == 0) return;
    forEachBox(track, boxType("tfdt"), [&](BoxBytes content) {
      BoxReader reader(content);
      const std::size_t size = reader.version() == 1 ? 8 : 4;
      time = static_cast<double>(reader.number(size)) / timescale->second;
    });
  });
  if (!time) return;
  if (!_firstTime) _firstTime = time;
  for (EventBox& each : std::exchange(_pending, {}))
    _found(each.seconds + (each.isAbsolute ? 0 : *time) - *_firstTime, std::move(each.message));
}

}  // namespace media
