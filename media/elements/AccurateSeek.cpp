#include "media/elements/AccurateSeek.h"

#include <algorithm>
#include <utility>

namespace media {
namespace {

/// The first repetition begins this much before the target, each further one about twice as much.
/// A usual group of pictures has 2 s, and program streams are sought by a clock that is up to 1 s
/// behind the time stamps.
constexpr GstClockTime kFirstStep = 3 * GST_SECOND;
/// After these the seek begins at the earliest time.
constexpr guint kSteps = 6;
/// If no key frame comes within this time, the media do not mark them.
constexpr GstClockTime kLongestGroup = 30 * GST_SECOND;

GstClockTime earlierBy(GstClockTime time, guint repetition, GstClockTime earliest) {
  const GstClockTime step = kFirstStep * ((GstClockTime{2} << repetition) - 1);
  return repetition < kSteps && earliest + step < time ? time - step : earliest;
}

std::optional<GstClockTime> streamTime(const GstSegment& segment, GstClockTime time) {
  guint64 result = 0;
  if (segment.format != GST_FORMAT_TIME || !GST_CLOCK_TIME_IS_VALID(time)) return std::nullopt;
  const int sign = gst_segment_to_stream_time_full(&segment, GST_FORMAT_TIME, time, &result);
  if (sign == 0) return std::nullopt;
  return sign > 0 ? result : 0;
}

}  // namespace

void AccurateSeek::watch(GstPad* pad) {
  auto* const stream = new Stream;
  stream->seek = this;
  gst_segment_init(&stream->segment, GST_FORMAT_UNDEFINED);
  {
    // A pad that a demuxer adds after a seek gets no flush events.
    const std::lock_guard lock(_mutex);
    stream->flushedFor = _seekCount;
    stream->hasKey = !_wasSought;
    _streams.push_back(stream);
  }
  constexpr auto kItems =
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                   GST_PAD_PROBE_TYPE_EVENT_FLUSH);
  gst_pad_add_probe(pad, kItems, _onItem, stream, [](gpointer data) {
    auto* const ended = static_cast<Stream*>(data);
    ended->seek->_forget(ended);
    delete ended;
  });
}

void AccurateSeek::_forget(Stream* stream) {
  const std::lock_guard lock(_mutex);
  std::erase(_streams, stream);
}

void AccurateSeek::setSelectedVideo(const std::string& streamID) {
  const std::lock_guard lock(_mutex);
  _selected = streamID;
}

GstRef<GstEvent> AccurateSeek::begin(GstEvent* seek) {
  Target target;
  GstFormat format = GST_FORMAT_UNDEFINED;
  GstSeekType startType = GST_SEEK_TYPE_NONE;
  gint64 start = 0;
  gst_event_parse_seek(seek, &target.rate, &format, &target.flags, &startType, &start,
                       &target.stopType, &target.stop);
  const auto lead = static_cast<gint64>(format == GST_FORMAT_TIME ? _lead : 0);
  if (startType == GST_SEEK_TYPE_SET && start >= 0) start += lead;
  if (target.stopType == GST_SEEK_TYPE_SET && target.stop >= 0) target.stop += lead;
  GstRef<GstEvent> shifted(gst_event_new_seek(target.rate, format, target.flags, startType, start,
                                              target.stopType, target.stop));
  gst_event_set_seqnum(shifted.get(), gst_event_get_seqnum(seek));
  const std::lock_guard lock(_mutex);
  _target.reset();
  _wasSought = target.rate > 0 && (target.flags & GST_SEEK_FLAG_FLUSH) != 0;
  if (!_wasSought || format != GST_FORMAT_TIME || startType != GST_SEEK_TYPE_SET || start < 0)
    return shifted;
  target.isExact = (target.flags & GST_SEEK_FLAG_ACCURATE) != 0;
  target.snapsBefore = !target.isExact && (target.flags & GST_SEEK_FLAG_KEY_UNIT) != 0 &&
                       (target.flags & GST_SEEK_FLAG_SNAP_AFTER) == 0;
  target.time = target.start = static_cast<GstClockTime>(start);
  _target = target;
  ++_seekCount;
  return shifted;
}

GstRef<GstEvent> AccurateSeek::repeat() {
  const std::lock_guard lock(_mutex);
  if (!_target || !std::exchange(_target->needsRepetition, false)) return {};
  ++_seekCount;
  return GstRef<GstEvent>(gst_event_new_seek(_target->rate, GST_FORMAT_TIME, _target->flags,
                                             GST_SEEK_TYPE_SET, static_cast<gint64>(_target->start),
                                             _target->stopType, _target->stop));
}

void AccurateSeek::finish() {
  const std::lock_guard lock(_mutex);
  if (_target && !_target->needsRepetition) _target.reset();
}

void AccurateSeek::cancel() {
  const std::lock_guard lock(_mutex);
  _target.reset();
  _wasSought = false;
}

/// Returns whether the data of the stream are from before the seek, which has not flushed it yet.
bool AccurateSeek::_isStale(const Stream& stream) const {
  return _target && stream.flushedFor != _seekCount;
}

GstPadProbeReturn AccurateSeek::_onItem(GstPad*, GstPadProbeInfo* info, gpointer data) {
  Stream& stream = *static_cast<Stream*>(data);
  return info->type & GST_PAD_PROBE_TYPE_BUFFER
             ? stream.seek->_take(stream, GST_PAD_PROBE_INFO_BUFFER(info))
             : stream.seek->_takeEvent(stream, info);
}

GstPadProbeReturn AccurateSeek::_takeEvent(Stream& stream, GstPadProbeInfo* info) {
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  std::unique_lock lock(_mutex);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_FLUSH_STOP:
      stream.flushedFor = _seekCount;
      stream.hasKey = !_wasSought;
      stream.first.reset();
      stream.newest.reset();
      break;
    case GST_EVENT_STREAM_START: {
      const gchar* id = nullptr;
      gst_event_parse_stream_start(event, &id);
      stream.id = id;
      break;
    }
    case GST_EVENT_CAPS: {
      GstCaps* caps = nullptr;
      gst_event_parse_caps(event, &caps);
      const gchar* const type = gst_structure_get_name(gst_caps_get_structure(caps, 0));
      // Motion JPEG has image/jpeg.
      stream.isVideo = g_str_has_prefix(type, "video/") || g_str_has_prefix(type, "image/");
      stream.isAudio = g_str_has_prefix(type, "audio/");
      stream.format = nalFormatOf(caps);
      break;
    }
    case GST_EVENT_SEGMENT:
      gst_event_copy_segment(event, &stream.segment);
      if (GstRef<GstEvent> corrected = _corrected(stream, event)) {
        gst_event_unref(event);
        GST_PAD_PROBE_INFO_DATA(info) = corrected.release();
      }
      break;
    case GST_EVENT_EOS:
    case GST_EVENT_GAP:
      if (_isStale(stream)) return GST_PAD_PROBE_DROP;
      if (!_isDecisive(stream)) break;
      if (_target->needsRepetition || !_endsBeforeTarget(stream, event)) return GST_PAD_PROBE_DROP;
      if (!_requestLastPicture(stream)) break;
      lock.unlock();
      _again();
      return GST_PAD_PROBE_DROP;
    default:
      break;
  }
  return GST_PAD_PROBE_OK;
}

GstRef<GstEvent> AccurateSeek::_corrected(const Stream& stream, GstEvent* event) const {
  GstSegment segment = stream.segment;
  if (segment.format != GST_FORMAT_TIME || !GST_CLOCK_TIME_IS_VALID(segment.time)) return {};
  // Further segments of an edit list have a base.
  if (_target && _target->isExact && segment.rate > 0 && segment.base == 0) {
    const GstClockTime time = stream.isVideo && _target->shown ? *_target->shown : _target->time;
    guint64 start = 0;
    if (gst_segment_position_from_stream_time_full(&segment, GST_FORMAT_TIME, time, &start) == 1) {
      segment.start = segment.position = start;
      segment.time = time;
      if (segment.stop <= segment.start) segment.stop = GST_CLOCK_TIME_NONE;
    }
  }
  const GstClockTime cut = segment.time < _lead ? _lead - segment.time : 0;
  segment.start = std::min(segment.start + cut, segment.stop);
  segment.time = segment.time + cut - _lead;
  if (cut > 0) segment.position = std::max(segment.position, segment.start);
  if (gst_segment_is_equal(&segment, &stream.segment)) return {};
  GstRef<GstEvent> corrected(gst_event_new_segment(&segment));
  gst_event_set_seqnum(corrected.get(), gst_event_get_seqnum(event));
  return corrected;
}

bool AccurateSeek::_isDecisive(const Stream& stream) const {
  return _target && stream.isVideo && !_target->isReached &&
         (!_selected || *_selected == stream.id);
}

bool AccurateSeek::_dropsAudio(const Stream& stream, GstBuffer* buffer) {
  const bool waitsForVideo = _target && !_target->isExact &&
                             std::any_of(_streams.begin(), _streams.end(),
                                         [this](const Stream* each) { return _isDecisive(*each); });
  if (!waitsForVideo) return false;
  const auto time = streamTime(stream.segment, GST_BUFFER_PTS(buffer));
  if (time && !_target->firstAudio) _target->firstAudio = time;
  // No key frame in this time: give up.
  _target->isReached = time && *time > *_target->firstAudio + kLongestGroup;
  return !_target->isReached;
}

/// Returns whether no packet before the target follows. Demuxers send gaps for a stream that has
/// ended while others go on.
bool AccurateSeek::_endsBeforeTarget(const Stream& stream, GstEvent* event) const {
  if (GST_EVENT_TYPE(event) == GST_EVENT_EOS) return true;
  GstClockTime start = 0;
  GstClockTime duration = 0;
  gst_event_parse_gap(event, &start, &duration);
  const auto end =
      streamTime(stream.segment, start + (GST_CLOCK_TIME_IS_VALID(duration) ? duration : 0));
  return end && *end >= _target->time;
}

bool AccurateSeek::_requestEarlierStart() {
  if (_target->start <= _earliest) return false;
  _target->start = earlierBy(_target->time, _target->repetitions++, _earliest);
  _target->needsRepetition = true;
  return true;
}

bool AccurateSeek::_requestLastPicture(const Stream& stream) {
  if (_target->shown) return false;
  if (!stream.newest || !stream.hasKey) return _requestEarlierStart();
  _target->shown = stream.newest;
  _target->needsRepetition = true;
  return true;
}

/// The flags of H.264 and H.265 are not used: parsers set them wrongly at the first packet after a
/// seek, and demuxers of transport streams do not set them. An I picture may be followed by
/// pictures that refer to earlier ones, so it only counts in media without other key frames.
bool AccurateSeek::_isKey(Stream& stream, GstBuffer* buffer) const {
  if (!stream.format) return !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
  constexpr guint kEnough = 2;
  if (stream.hasKey && stream.randomPoints >= kEnough) return false;
  GstMapInfo map;
  if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return false;
  const KeyKind kind = keyKindOf({map.data, map.size}, *stream.format);
  gst_buffer_unmap(buffer, &map);
  if (kind == KeyKind::Random && stream.randomPoints < kEnough) ++stream.randomPoints;
  return kind == KeyKind::Random || (kind == KeyKind::Intra && stream.randomPoints < kEnough);
}

/// Returns whether the packet may be passed on.
bool AccurateSeek::_accepts(Stream& stream, GstClockTime time, GstClockTime end, bool isKey) {
  if (!stream.first) stream.first = time;
  stream.newest = std::max(stream.newest.value_or(0), time);
  const bool waitsLong = *stream.newest > *stream.first + kLongestGroup;
  if (!_isDecisive(stream)) {
    stream.hasKey = stream.hasKey || isKey || waitsLong;
    return stream.hasKey;
  }
  if (_target->needsRepetition) return false;
  const bool isLate = (_target->isExact || _target->snapsBefore) && time > _target->time;
  if (!stream.hasKey) {
    // There is no earlier picture.
    const bool isFirst = _firstPicture && *_firstPicture >= time;
    if (isLate && !isFirst && _requestEarlierStart()) return false;
    if (!isKey && !waitsLong && _target->start > _earliest) return false;
    stream.hasKey = true;
  }
  _target->isReached = !_target->isExact || end > _target->time || _target->shown;
  return true;
}

GstPadProbeReturn AccurateSeek::_take(Stream& stream, GstBuffer* buffer) {
  if (!stream.isVideo && !stream.isAudio) return GST_PAD_PROBE_OK;
  std::unique_lock lock(_mutex);
  if (stream.isAudio) return _dropsAudio(stream, buffer) ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
  const GstClockTime shown =
      GST_BUFFER_PTS_IS_VALID(buffer) ? GST_BUFFER_PTS(buffer) : GST_BUFFER_DTS(buffer);
  if (_isStale(stream)) return GST_PAD_PROBE_DROP;
  const auto time = streamTime(stream.segment, shown);
  const bool isKey = _isKey(stream, buffer);
  if (!time) {
    if (isKey && _isDecisive(stream) && !_target->isExact)
      stream.hasKey = _target->isReached = true;
    return GST_PAD_PROBE_OK;
  }
  if (!_wasSought) {
    _firstPicture = std::min(_firstPicture.value_or(*time), *time);
    return GST_PAD_PROBE_OK;
  }
  const GstClockTime duration = GST_BUFFER_DURATION(buffer);
  const GstClockTime end = *time + (GST_CLOCK_TIME_IS_VALID(duration) ? duration : 0);
  const bool wasRepeating = _target && _target->needsRepetition;
  const bool accepts = _accepts(stream, *time, end, isKey);
  const bool repeats = !wasRepeating && _target && _target->needsRepetition;
  lock.unlock();
  if (repeats) _again();
  return accepts ? GST_PAD_PROBE_OK : GST_PAD_PROBE_DROP;
}

}  // namespace media
