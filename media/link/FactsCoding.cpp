#include "media/link/FactsCoding.h"

#include "platform/media/TimedMetadataItem.h"

namespace media {
namespace {

using platform::MediaChapter;
using platform::MediaFacts;
using platform::MediaSelectionGroup;
using platform::MediaSelectionOption;
using platform::MediaTime;
using platform::MediaTrack;
using platform::TimedMetadataItem;
using platform::TimeRange;

constexpr std::size_t kMaxTracks = 4096;
constexpr std::size_t kMaxRanges = 65536;
constexpr std::size_t kMaxGroups = 64;
constexpr std::size_t kMaxOptions = 4096;
constexpr std::size_t kMaxItems = 65536;

const auto takeTextOf = [](WireReader& reader) { return reader.takeText(); };

void putRange(WireWriter& writer, const TimeRange& range) {
  writer.put(range.start).put(range.duration);
}

TimeRange takeRange(WireReader& reader) {
  TimeRange range;
  range.start = reader.takeFinite();
  range.duration = reader.takeFinite();
  return range;
}

void putTrack(WireWriter& writer, const MediaTrack& track) {
  writer.put(track.trackID).put(track.mediaType).put(track.codec).put(track.enabled);
}

MediaTrack takeTrack(WireReader& reader) {
  MediaTrack track;
  track.trackID = reader.take<std::uint32_t>();
  track.mediaType = reader.takeText();
  track.codec = reader.takeText();
  track.enabled = reader.take<bool>();
  return track;
}

void putOption(WireWriter& writer, const MediaSelectionOption& option) {
  writer.put(option.identifier).put(option.displayName).put(option.languageTag).put(option.forced);
  writer.putList(option.characteristics,
                 [](WireWriter& to, const std::string& each) { to.put(each); });
}

MediaSelectionOption takeOption(WireReader& reader) {
  MediaSelectionOption option;
  option.identifier = reader.takeText();
  option.displayName = reader.takeText();
  option.languageTag = reader.takeText();
  option.forced = reader.take<bool>();
  option.characteristics = reader.takeList(kMaxGroups, takeTextOf);
  return option;
}

void putGroup(WireWriter& writer, const MediaSelectionGroup& group) {
  writer.put(group.characteristic).putList(group.options, putOption);
  writer.put(group.selected ? std::optional(static_cast<std::uint32_t>(*group.selected))
                            : std::nullopt);
  writer.put(group.allowsEmptySelection);
}

MediaSelectionGroup takeGroup(WireReader& reader) {
  MediaSelectionGroup group;
  group.characteristic = reader.takeText();
  group.options = reader.takeList(kMaxOptions, takeOption);
  if (const auto selected =
          reader.takeOptional([](WireReader& from) { return from.take<std::uint32_t>(); })) {
    if (*selected >= group.options.size()) reader.fail();
    group.selected = *selected;
  }
  group.allowsEmptySelection = reader.take<bool>();
  return group;
}

void putTime(WireWriter& writer, const MediaTime& time) {
  writer.put(time.value).put(time.timescale).put(time.flags).put(time.epoch);
}

MediaTime takeTime(WireReader& reader) {
  MediaTime time;
  time.value = reader.take<std::int64_t>();
  time.timescale = reader.take<std::int32_t>();
  time.flags = reader.take<std::uint32_t>();
  time.epoch = reader.take<std::int64_t>();
  return time;
}

void putMetadataItem(WireWriter& writer, const TimedMetadataItem& item) {
  writer.put(item.key).put(item.keySpace).put(item.localeIdentifier).put(item.time.has_value());
  if (item.time) putTime(writer, *item.time);
  writer.put(item.value).put(item.extraAttributes);
}

TimedMetadataItem takeMetadataItem(WireReader& reader) {
  TimedMetadataItem item;
  item.key = reader.takeValue();
  item.keySpace = reader.takeOptional(takeTextOf);
  item.localeIdentifier = reader.takeOptional(takeTextOf);
  item.time = reader.takeOptional(takeTime);
  item.value = reader.takeValue();
  item.extraAttributes = reader.takeDictionary();
  return item;
}

void putChapter(WireWriter& writer, const MediaChapter& chapter) {
  writer.put(chapter.start).put(chapter.title);
}

MediaChapter takeChapter(WireReader& reader) {
  MediaChapter chapter;
  chapter.start = reader.takeFinite();
  chapter.title = reader.takeText();
  return chapter;
}

}  // namespace

void putPlaybackFacts(WireWriter& writer, const MediaFacts& facts) {
  const auto percent = facts.bufferingPercent
                           ? std::optional(static_cast<std::int32_t>(*facts.bufferingPercent))
                           : std::nullopt;
  writer.put(facts.duration).put(facts.live);
  writer.putList(facts.seekable, putRange).putList(facts.loaded, putRange);
  writer.put(facts.likelyToKeepUp).put(facts.bufferFull).put(facts.bufferEmpty);
  writer.put(percent).put(facts.likelyToKeepUpTime);
  writer.put(facts.playbackDate).put(facts.estimatedDate);
}

void takePlaybackFacts(WireReader& reader, MediaFacts& facts) {
  const auto date = [](WireReader& from) { return from.takeDate(); };
  facts.duration = reader.takeFinite();
  facts.live = reader.take<bool>();
  facts.seekable = reader.takeList(kMaxRanges, takeRange);
  facts.loaded = reader.takeList(kMaxRanges, takeRange);
  facts.likelyToKeepUp = reader.take<bool>();
  facts.bufferFull = reader.take<bool>();
  facts.bufferEmpty = reader.take<bool>();
  facts.bufferingPercent =
      reader.takeOptional([](WireReader& from) { return from.take<std::int32_t>(); });
  const int percent = facts.bufferingPercent.value_or(0);
  if (percent < 0 || percent > 100) reader.fail();
  facts.likelyToKeepUpTime = reader.takeOptionalFinite();
  facts.playbackDate = reader.takeOptional(date);
  facts.estimatedDate = reader.takeOptional(date);
}

void putContentFacts(WireWriter& writer, const MediaFacts& facts) {
  writer.putList(facts.tracks, putTrack).putList(facts.selectionGroups, putGroup);
  writer.putList(facts.timedMetadata, putMetadataItem).putList(facts.chapters, putChapter);
  writer.put(facts.title).put(facts.hasCover);
}

void takeContentFacts(WireReader& reader, MediaFacts& facts) {
  facts.tracks = reader.takeList(kMaxTracks, takeTrack);
  facts.selectionGroups = reader.takeList(kMaxGroups, takeGroup);
  facts.timedMetadata = reader.takeList(kMaxItems, takeMetadataItem);
  facts.chapters = reader.takeList(kMaxItems, takeChapter);
  facts.title = reader.takeText();
  facts.hasCover = reader.take<bool>();
}

bool haveEqualPlaybackFacts(const MediaFacts& a, const MediaFacts& b) {
  return a.duration == b.duration && a.live == b.live && a.seekable == b.seekable &&
         a.loaded == b.loaded && a.likelyToKeepUp == b.likelyToKeepUp &&
         a.bufferFull == b.bufferFull && a.bufferEmpty == b.bufferEmpty &&
         a.bufferingPercent == b.bufferingPercent && a.likelyToKeepUpTime == b.likelyToKeepUpTime &&
         a.playbackDate == b.playbackDate && a.estimatedDate == b.estimatedDate;
}

bool haveEqualContentFacts(const MediaFacts& a, const MediaFacts& b) {
  return a.tracks == b.tracks && a.selectionGroups == b.selectionGroups &&
         a.timedMetadata == b.timedMetadata && a.chapters == b.chapters && a.title == b.title &&
         a.hasCover == b.hasCover;
}

}  // namespace media
