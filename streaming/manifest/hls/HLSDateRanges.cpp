#include "streaming/manifest/hls/HLSDateRanges.h"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "platform/media/TimedMetadataItem.h"
#include "streaming/manifest/EventKeys.h"
#include "streaming/manifest/TimeText.h"
#include "streaming/manifest/hls/HLSAlignment.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxDateRanges = 1000;
constexpr std::size_t kMaxDateRangeBytes = std::size_t{256} * 1024;

}  // namespace

void HLSDateRanges::add(const HLSAttributes& attributes, std::size_t size) {
  _bytes += size;
  if (_ranges.size() == kMaxDateRanges || _bytes > kMaxDateRangeBytes) return;
  const auto start = dateFrom(attributes.text("START-DATE"));
  const std::string identifier = attributes.text("ID");
  const auto known = std::find_if(_ranges.begin(), _ranges.end(), [&](const Range& each) {
    return !identifier.empty() && each.identifier == identifier;
  });
  const bool isNew = known == _ranges.end();
  if (isNew && !start) return;
  Range& range = isNew ? _ranges.emplace_back() : *known;
  if (isNew) {
    range.start = *start;
    range.identifier = identifier;
  }
  if (attributes.isYes("END-ON-NEXT")) range.endsOnNext = true;
  if (const auto duration = attributes.find("DURATION"))
    range.duration = hlsSeconds(*duration);
  else if (const auto end = dateFrom(attributes.text("END-DATE")); end && !range.duration)
    range.duration = std::max(0.0, end->secondsSince1970 - range.start.secondsSince1970);
  for (const auto& [name, text] : attributes.all())
    if (name.starts_with("X-") || name.starts_with("SCTE35-"))
      range.details.set(name, std::string(text));
  if (const auto kind = attributes.find("CLASS"); kind && !kind->empty()) range.key = *kind;
}

/// A range with END-ON-NEXT ends at the start of the next range of its class.
std::optional<double> HLSDateRanges::_durationOf(const Range& range) const {
  if (range.duration || !range.endsOnNext) return range.duration;
  std::optional<double> duration;
  for (const Range& next : _ranges) {
    const double seconds = next.start.secondsSince1970 - range.start.secondsSince1970;
    if (next.key != range.key || !(seconds > 0)) continue;
    duration = duration ? std::min(*duration, seconds) : seconds;
  }
  return duration;
}

std::vector<PresentationEvent> HLSDateRanges::events(const std::vector<DateMark>& marks,
                                                     const MediaPlaylist* previous) const {
  std::vector<PresentationEvent> events;
  std::set<std::string, std::less<>> settled;  // IDs that are not copied from the previous version
  if (!marks.empty()) {
    for (const Range& range : _ranges) {
      if (!range.identifier.empty()) settled.insert(range.identifier);
      const double position = positionByMarks(range.start, marks);
      if (position < 0) continue;
      platform::TimedMetadataItem item;
      item.key = range.key.empty() ? std::string(kKeySpaceDateRanges) : range.key;
      item.keySpace = std::string(kKeySpaceDateRanges);
      item.value = range.details;
      if (!range.identifier.empty()) item.extraAttributes.set(kEventIdentifier, range.identifier);
      if (const auto duration = _durationOf(range))
        item.extraAttributes.set(kEventDuration, *duration);
      events.push_back(
          {.position = position,
           .item = std::make_shared<const platform::TimedMetadataItem>(std::move(item))});
    }
  }
  if (!_removed || !previous) return events;
  for (std::string_view rest = *_removed; !rest.empty();) {
    const std::string_view identifier = rest.substr(0, rest.find('\t'));
    settled.emplace(identifier);
    rest.remove_prefix(std::min(rest.size(), identifier.size() + 1));
  }
  for (const PresentationEvent& event : previous->events) {
    const auto identifier = event.item->extraAttributes.string(kEventIdentifier);
    if (identifier && !settled.contains(*identifier) && events.size() < kMaxDateRanges)
      events.push_back(event);
  }
  return events;
}

}  // namespace streaming
