#include "media/elements/StreamPusher.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <variant>

#include "media/support/GstTime.h"

namespace media {
namespace {

/// Audio decoders need some packets before their output is correct.
constexpr GstClockTime kSoundBefore = 250 * GST_MSECOND;
constexpr GstClockTime kReachedStep = 250 * GST_MSECOND;

GstClockTime clockTime(double seconds) {
  constexpr double kMost = 1e9;
  return static_cast<GstClockTime>(
      std::llround(std::clamp(seconds, 0.0, kMost) * static_cast<double>(GST_SECOND)));
}

bool isKeyFrame(GstBuffer* buffer) {
  return !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
}

GstClockTime decodeTime(GstBuffer* buffer) {
  return GST_BUFFER_DTS_IS_VALID(buffer) ? GST_BUFFER_DTS(buffer) : GST_BUFFER_PTS(buffer);
}

GstClockTime endTime(GstBuffer* buffer) {
  const GstClockTime duration = GST_BUFFER_DURATION(buffer);
  return GST_BUFFER_PTS(buffer) + (GST_CLOCK_TIME_IS_VALID(duration) ? duration : 0);
}

bool isOnlyKeyFrames(const GstSegment& segment) {
  return (segment.flags & GST_SEGMENT_FLAG_TRICKMODE_KEY_UNITS) != 0;
}

}  // namespace

void StreamPusher::reset(bool isFed) {
  _isFed = isFed;
  _isOver = false;
  _flows = false;
  _group.clear();
  _format.reset();
  _segment.reset();
  _needsSegment = true;
  _reached.reset();
  _isDiscontinuous = true;
}

void StreamPusher::forgetPad() {
  _hasBegunStream = false;
  _pushedFormat.reset();
}

bool StreamPusher::step() {
  if (_isOver || _setup.range->isCancelled()) return false;
  if (!std::exchange(_hasBegunStream, true)) _pushStreamStart();
  if (!_isFed) return _end();
  auto item = _take();
  return item && std::visit([this](auto& each) { return _handle(each); }, *item);
}

void StreamPusher::_pushStreamStart() const {
  const char* const name = kind() == ElementaryKind::Video ? "video" : "audio";
  GstEvent* const event = gst_event_new_stream_start(name);
  gst_event_set_group_id(event, _setup.groupID);
  gst_pad_push_event(pad(), event);
}

std::optional<ElementaryItem> StreamPusher::_take() {
  if (auto item = _setup.queues->tryTake(kind())) return item;
  _setup.waits(true);
  auto item = _setup.queues->take(kind());
  _setup.waits(false);
  return item;
}

bool StreamPusher::_handle(ElementaryFormat& format) {
  _format = std::move(format.caps);
  return true;
}

bool StreamPusher::_handle(ElementaryBuffer& buffer) {
  if (!_format || !buffer.buffer || !GST_BUFFER_PTS_IS_VALID(buffer.buffer.get())) return true;
  Packet packet{GstRef<GstCaps>(gst_caps_ref(_format.get())), std::move(buffer.buffer)};
  if (_flows) return _push(std::move(packet));
  return kind() == ElementaryKind::Video ? _beginVideo(std::move(packet))
                                         : _beginAudio(std::move(packet));
}

bool StreamPusher::_beginVideo(Packet packet) {
  const GstClockTime target = _setup.range->requested().start;
  GstBuffer* const buffer = packet.buffer.get();
  const bool isKey = isKeyFrame(buffer);
  const bool isAfter = isKey ? GST_BUFFER_PTS(buffer) > target : decodeTime(buffer) > target;
  if (isKey && !isAfter) _group.clear();
  // Packets before the first key frame cannot be decoded.
  if (isKey || !_group.empty()) _group.push_back(std::move(packet));
  return _group.empty() || !isAfter || _beginFlow();
}

bool StreamPusher::_beginAudio(Packet packet) {
  if (!_segment) _segment = _setup.range->await();
  if (!_segment) return false;
  if (endTime(packet.buffer.get()) + kSoundBefore <= _segment->start) return true;
  _group.push_back(std::move(packet));
  return _beginFlow();
}

bool StreamPusher::_beginFlow() {
  if (kind() == ElementaryKind::Video && !_group.empty())
    _setup.range->startAt(GST_BUFFER_PTS(_group.front().buffer.get()));
  _segment = _setup.range->await();
  if (!_segment) return false;
  _flows = true;
  for (Packet& each : std::exchange(_group, {}))
    if (!_push(std::move(each))) return false;
  return true;
}

/// Audio has to wait for the key frame, also if it begins with a gap.
void StreamPusher::_startWithoutKey() const {
  if (kind() == ElementaryKind::Video && _group.empty()) _setup.range->startAtRequest();
}

bool StreamPusher::_handle(const ElementaryGap& gap) {
  const GstClockTime end = clockTime(gap.end);
  if (!_flows) {
    if (end <= _setup.range->requested().start) return true;
    _startWithoutKey();
    if (!_beginFlow()) return false;
  }
  const GstClockTime start = std::max<GstClockTime>(clockTime(gap.start), _segment->start);
  if (start >= _segment->stop) return _end();
  if (end <= start) return true;
  if (!_pushedFormat) {
    _pushedFormat = _setup.chain->bypass();
    if (_pushedFormat) gst_pad_push_event(pad(), gst_event_new_caps(_pushedFormat.get()));
  }
  _pushSegment();
  // A decoder forwards a gap before the pictures that it holds. A stream-start event drains it.
  if (kind() == ElementaryKind::Video && !_isDiscontinuous) _pushStreamStart();
  const GstClockTime last = std::min<GstClockTime>(end, _segment->stop);
  gst_pad_push_event(pad(), gst_event_new_gap(start, last - start));
  _isDiscontinuous = true;
  return !_setup.range->isCancelled();
}

bool StreamPusher::_handle(const ElementaryFailure& failure) {
  _setup.failed(failure.error);
  return _end();
}

bool StreamPusher::_push(Packet packet) {
  GstBuffer* const buffer = packet.buffer.get();
  const bool isVideo = kind() == ElementaryKind::Video;
  const GstClockTime time = isVideo ? decodeTime(buffer) : GST_BUFFER_PTS(buffer);
  if (time >= _segment->stop) return _end();
  if (isVideo && isOnlyKeyFrames(*_segment) && !isKeyFrame(buffer)) return true;
  if (!_useFormat(packet)) return false;
  _pushSegment();
  _reportPosition(std::max<GstClockTime>(GST_BUFFER_PTS(buffer), _segment->start));
  GstBuffer* pushed = packet.buffer.release();
  if (std::exchange(_isDiscontinuous, false)) {
    pushed = gst_buffer_make_writable(pushed);
    GST_BUFFER_FLAG_SET(pushed, GST_BUFFER_FLAG_DISCONT);
  }
  const GstFlowReturn flow = gst_pad_push(pad(), pushed);
  if (flow == GST_FLOW_OK) return true;
  if (flow == GST_FLOW_FLUSHING) return false;
  if (flow != GST_FLOW_EOS) _setup.refused(flow);
  return _end();
}

bool StreamPusher::_useFormat(const Packet& packet) {
  GstCaps* const caps = packet.caps.get();
  if (caps == _pushedFormat.get()) return true;
  if (!_pushedFormat || !gst_caps_is_equal(caps, _pushedFormat.get())) {
    switch (_setup.chain->use(caps, packet.buffer.get(), *_setup.range)) {
      case DecoderChain::Result::Ready:
        break;
      case DecoderChain::Result::Cancelled:
        return false;
      case DecoderChain::Result::NoDecoder:
        _setup.lacksDecoder(caps);
        return _end();
    }
    gst_pad_push_event(pad(), gst_event_new_caps(caps));
  }
  _pushedFormat.reset(gst_caps_ref(caps));
  return true;
}

void StreamPusher::_pushSegment() {
  if (!std::exchange(_needsSegment, false)) return;
  GstEvent* const event = gst_event_new_segment(&*_segment);
  gst_event_set_seqnum(event, _setup.range->seekNumber());
  gst_pad_push_event(pad(), event);
}

void StreamPusher::_reportPosition(GstClockTime time) {
  if (_reached && time < *_reached + kReachedStep) return;
  _reached = time;
  _setup.reached(secondsOf(time));
}

bool StreamPusher::_end() {
  if (_isOver) return false;
  if (!_flows) {
    // Start with the packets before the target: there are no better ones.
    _startWithoutKey();
    if (!_beginFlow() || _isOver) return false;
  }
  _isOver = true;
  if (!_pushedFormat) _setup.chain->bypass();
  _pushSegment();
  GstEvent* const event = gst_event_new_eos();
  gst_event_set_seqnum(event, _setup.range->seekNumber());
  gst_pad_push_event(pad(), event);
  return false;
}

}  // namespace media
