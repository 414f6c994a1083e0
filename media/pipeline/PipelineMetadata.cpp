// The metadata of the position that plays. On the pipeline's thread.

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/metadata/MetadataTap.h"
#include "media/pipeline/Pipeline.h"

namespace media {
namespace {

/// No need to look more often, however close things are.
constexpr auto kLeast = std::chrono::milliseconds(20);

}  // namespace

void Pipeline::_setUpMetadata() {
  // A streaming thread has something new; when it is due is seen here.
  tapMetadata(_player.get(), _metadata, [this] { _post([](Pipeline&) {}); });
}

void Pipeline::_noteTags(const GstTagList* tags) {
  bool changed = false;
  for (platform::TimedMetadataItem& each : itemsOfTags(tags, _metadata->isOfRadio())) {
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
  // What is known before anything plays is so from the beginning.
  const double seconds = _ready ? _position.seconds() : 0;
  _metadata->add(MetadataTimeline::Source::Tags, seconds, _tagItems);
}

void Pipeline::_noteEvents() {
  if (!_presentation) return;
  auto presentation = _setup.item->presentation()->presentation();
  if (presentation == _eventsOf) return;
  for (const streaming::PresentationEvent& each : presentation->events)
    _metadata->add(MetadataTimeline::Source::Events, each.position, {each.item});
  _eventsOf = std::move(presentation);
}

void Pipeline::_updateMetadata() {
  if (!_ready || _failed) return;
  _noteEvents();
  const double seconds = _position.seconds();
  auto items = _metadata->at(seconds);
  const auto next = _timeRuns && _appliedRate > 0 ? _metadata->nextAfter(seconds) : std::nullopt;
  _metadataAt.reset();
  if (next)
    _metadataAt =
        _clock.now() + std::max<platform::Duration>(
                           platform::durationFromSeconds((*next - seconds) / _appliedRate), kLeast);
  if (items == _facts.timedMetadata) return;
  _facts.timedMetadata = std::move(items);
  _publishFacts();
  _report(PipelineEvent::Kind::Facts);
}

}  // namespace media
