#include "media/pipeline/playback/CurrentMetadata.h"

#include <algorithm>
#include <utility>

#include "media/metadata/EventMessages.h"
#include "media/metadata/ID3Tag.h"
#include "media/metadata/MetadataTap.h"
#include "platform/media/TimedMetadataItem.h"

namespace media {
namespace {

/// The shortest time between two updates.
constexpr auto kLeast = std::chrono::milliseconds(20);

BoxBytes boxBytesOf(const std::string& bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

}  // namespace

CurrentMetadata::CurrentMetadata(LoadContext& load, const PlaybackState& state,
                                 Announcements& announcements)
    : _load(load), _state(state), _announcements(announcements) {}

CurrentMetadata::~CurrentMetadata() = default;

/// Makes the pipeline's thread check for metadata that is due.
void CurrentMetadata::_wake() {
  _load.mailbox->post([] {});
}

void CurrentMetadata::watch(GstElement* player) {
  tapMetadata(player, _timeline, [this] { _wake(); });
}

void CurrentMetadata::noteStation(const streaming::ResourceReader& resource) {
  _timeline->setRadioStation();
  _timeline->add(MetadataTimeline::Source::Stream, 0, itemsOfStation(resource.fields()));
}

void CurrentMetadata::noteTags(const GstTagList* tags, bool describesItem) {
  if (!describesItem && !_timeline->isRadioStation()) return;
  bool changed = false;
  for (platform::TimedMetadataItem& each : itemsOfTags(tags, _timeline->isRadioStation())) {
    const auto known = std::find_if(_tagItems.begin(), _tagItems.end(),
                                    [&](const auto& item) { return item.key == each.key; });
    if (known == _tagItems.end())
      _tagItems.push_back(std::move(each));
    else if (known->value == each.value)
      continue;
    else
      *known = std::move(each);
    changed = true;
  }
  if (!changed) return;
  // Tags known before playback apply from the beginning.
  const double seconds = _state.ready ? _load.position.seconds() : 0;
  _timeline->add(MetadataTimeline::Source::Tags, seconds, _tagItems);
}

void CurrentMetadata::noteEvents() {
  auto presentation = _load.setup.item->presentation()->presentation();
  if (presentation == _eventsOf) return;
  for (const streaming::PresentationEvent& each : presentation->events)
    _timeline->add(MetadataTimeline::Source::Events, each.position, {*each.item});
  _eventsOf = std::move(presentation);
}

void CurrentMetadata::addID3(double seconds, const std::string& tag) {
  auto items = itemsOfID3Tag(boxBytesOf(tag));
  if (items.empty()) return;
  _timeline->add(MetadataTimeline::Source::Stream, std::max(0.0, seconds), std::move(items));
  _wake();
}

void CurrentMetadata::addEvent(double segmentStart, double timeOffset, const std::string& box) {
  constexpr std::size_t kBoxHeader = 8;
  if (box.size() < kBoxHeader) return;
  const auto event = readEventMessage(boxBytesOf(box).subspan(kBoxHeader));
  if (!event) return;
  const double seconds = event->seconds + (event->isAbsolute ? timeOffset : segmentStart);
  _timeline->add(MetadataTimeline::Source::Events, std::max(0.0, seconds),
                 itemsOfEvent(event->message));
  _wake();
}

void CurrentMetadata::update() {
  const double seconds = _load.position.seconds();
  auto items = _timeline->at(seconds);
  const auto next =
      _state.timeRuns && _state.rate > 0 ? _timeline->nextAfter(seconds) : std::nullopt;
  _updateAt.reset();
  if (next)
    _updateAt = _load.clock.now() +
                std::max<platform::Duration>(
                    platform::durationFromSeconds((*next - seconds) / _state.rate), kLeast);
  platform::MediaFacts& facts = _load.facts.newest();
  if (items == facts.timedMetadata) return;
  facts.timedMetadata = std::move(items);
  _load.facts.publish();
  _announcements.facts();
}

}  // namespace media
