#include "media/elements/PresentationSource.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/elements/PresentationElements.h"
#include "media/support/GstTime.h"

namespace media {
namespace {

constexpr double kFastestWithAllPictures = 2;

GstClockTime sourceTime(double seconds) {
  return static_cast<GstClockTime>(
      std::llround(std::max(0.0, seconds) * static_cast<double>(GST_SECOND)));
}

}  // namespace

PresentationSource::PresentationSource(PresentationSourceSetup setup) : _setup(std::move(setup)) {
  gst_segment_init(&_segment, GST_FORMAT_TIME);
  _segment.start = _segment.time = _segment.position = sourceTime(_setup.start);
}

std::shared_ptr<PresentationSource> PresentationSource::make(PresentationSourceSetup setup,
                                                             PacketQueues::Targets kinds) {
  auto source = std::make_shared<PresentationSource>(std::move(setup));
  source->_element = makePresentationElement(source);
  for (const auto kind : {ElementaryKind::Video, ElementaryKind::Audio}) {
    if (!(kind == ElementaryKind::Video ? kinds.video : kinds.audio)) continue;
    Stream stream;
    stream.pad = addPresentationPad(source->_element, kind);
    source->_streams.emplace_back(kind, std::move(stream));
  }
  return source;
}

void PresentationSource::linkTo(GstBin* bin, ElementaryKind kind, GstPad* tail) {
  for (auto& [each, stream] : _streams) {
    if (each != kind) continue;
    stream.chain = std::make_unique<DecoderChain>(bin, kind, stream.pad, tail);
    StreamPusher::Setup setup;
    setup.kind = kind;
    setup.pad = stream.pad;
    setup.groupID = _groupID;
    setup.queues = &_queues;
    setup.range = &_range;
    setup.chain = stream.chain.get();
    setup.waits = [this](bool waits) { _noteWait(waits); };
    setup.failed = [this, kind](const platform::Error& error) { _noteFailure(kind, error); };
    setup.lacksDecoder = [this](GstCaps* caps) { _reportMissing(caps); };
    setup.reached = [this, kind](double seconds) { _noteReached(kind, seconds); };
    setup.refused = [this](GstFlowReturn flow) { GST_ELEMENT_FLOW_ERROR(_element, flow); };
    stream.pusher = std::make_unique<StreamPusher>(std::move(setup));
  }
}

void PresentationSource::_start() {
  const std::lock_guard control(_control);
  for (auto& [kind, stream] : _streams) stream.pusher->forgetPad();
  _isRunning = true;
  _startFlow();
}

void PresentationSource::_stop() {
  const std::lock_guard control(_control);
  _isRunning = false;
  _stopFlow();
  for (auto& [kind, stream] : _streams) gst_pad_stop_task(stream.pad);
}

void PresentationSource::_startFlow() {
  _planFeeds();
  _showsPicture = std::any_of(_streams.begin(), _streams.end(), [](const auto& each) {
    return each.first == ElementaryKind::Video && each.second.isFed;
  });
  _range.begin(_segment, _lastSeek.value_or(gst_util_seqnum_next()), _awaitsKey && _showsPicture);
  _queues.open();
  for (auto& [kind, stream] : _streams) stream.pusher->reset(stream.isFed);
  for (const auto& feed : _feeds) feed->start(secondsOf(_segment.start));
  for (auto& [kind, stream] : _streams)
    gst_pad_start_task(
        stream.pad,
        [](gpointer pad) {
          if (const auto source = sourceOfPad(GST_PAD(pad))) source->_step(GST_PAD(pad));
        },
        stream.pad, nullptr);
}

/// The pads have to be flushing, or their elements stopped, unless no data flows.
void PresentationSource::_stopFlow() {
  _range.cancel();
  _queues.close();
  for (auto& [kind, stream] : _streams) gst_pad_pause_task(stream.pad);
  for (const auto& feed : _feeds) feed->stop();
}

void PresentationSource::_planFeeds() {
  streaming::TrackSelection wanted = _setup.playback->selection();
  {
    const std::lock_guard lock(_mutex);
    if (_wanted) wanted = *_wanted;
    for (auto& [kind, stream] : _streams) stream.hasFailed = false;
  }
  const bool withoutSound = (_segment.flags & GST_SEGMENT_FLAG_TRICKMODE_NO_AUDIO) != 0;
  const auto has = [&](ElementaryKind kind) {
    return std::any_of(_streams.begin(), _streams.end(),
                       [&](const auto& each) { return each.first == kind; });
  };
  const bool wantsVideo = has(ElementaryKind::Video) && !wanted.video.empty();
  const bool wantsAudio = has(ElementaryKind::Audio) && !wanted.audio.empty() && !withoutSound;
  const auto video = _setup.playback->reader(streaming::MediaKind::Video);
  const auto audio = _setup.playback->reader(streaming::MediaKind::Audio);
  std::vector<std::unique_ptr<TrackFeed>> planned;
  const auto plan = [&](const std::shared_ptr<streaming::TrackReader>& reader,
                        PacketQueues::Targets targets) {
    if (!reader || (!targets.video && !targets.audio)) return;
    const auto kept = std::find_if(_feeds.begin(), _feeds.end(), [&](const auto& each) {
      return each && each->reader() == reader && each->targets() == targets;
    });
    planned.push_back(kept != _feeds.end()
                          ? std::move(*kept)
                          : std::make_unique<TrackFeed>(reader, _setup.makeDemuxer(reader, targets),
                                                        _queues, targets));
  };
  plan(video, {wantsVideo, wantsAudio && !audio});
  plan(audio, {false, wantsAudio});
  _feeds = std::move(planned);
  for (auto& [kind, stream] : _streams)
    stream.isFed = std::any_of(_feeds.begin(), _feeds.end(), [&, of = kind](const auto& each) {
      return of == ElementaryKind::Video ? each->targets().video : each->targets().audio;
    });
}

void PresentationSource::_step(GstPad* pad) {
  for (auto& [kind, stream] : _streams)
    if (stream.pad == pad && !stream.pusher->step()) gst_pad_pause_task(pad);
}

bool PresentationSource::seek(GstEvent* event) {
  gdouble rate = 1;
  GstFormat format = GST_FORMAT_UNDEFINED;
  GstSeekFlags flags{};
  GstSeekType startType{};
  GstSeekType stopType{};
  gint64 start = 0;
  gint64 stop = -1;
  gst_event_parse_seek(event, &rate, &format, &flags, &startType, &start, &stopType, &stop);
  const guint32 number = gst_event_get_seqnum(event);
  if (format != GST_FORMAT_TIME || rate <= 0 || (flags & GST_SEEK_FLAG_FLUSH) == 0) return false;
  if (startType == GST_SEEK_TYPE_END || stopType == GST_SEEK_TYPE_END) return false;
  const std::lock_guard control(_control);
  // Every sink forwards the same seek event.
  if (_lastSeek == number) return true;
  if (rate > kFastestWithAllPictures)
    flags = static_cast<GstSeekFlags>(flags | GST_SEEK_FLAG_TRICKMODE_KEY_UNITS |
                                      GST_SEEK_FLAG_TRICKMODE_NO_AUDIO);
  GstSegment next = _segment;
  if (!gst_segment_do_seek(&next, rate, format, flags, startType, static_cast<guint64>(start),
                           stopType, static_cast<guint64>(stop), nullptr))
    return false;
  _lastSeek = number;
  if (_isRunning) {
    _range.cancel();
    GstEvent* const begin = gst_event_new_flush_start();
    gst_event_set_seqnum(begin, number);
    _flush(begin);
    _stopFlow();
  }
  _segment = next;
  _segment.base = 0;
  _segment.offset = 0;
  _segment.time = _segment.start;
  _awaitsKey = (flags & GST_SEEK_FLAG_KEY_UNIT) != 0 && (flags & GST_SEEK_FLAG_ACCURATE) == 0;
  if (_isRunning) {
    GstEvent* const end = gst_event_new_flush_stop(TRUE);
    gst_event_set_seqnum(end, number);
    _flush(end);
    _startFlow();
  }
  return true;
}

void PresentationSource::_flush(GstEvent* event) {
  const GstRef<GstEvent> owned(event);
  for (auto& [kind, stream] : _streams) stream.chain->flush(gst_event_ref(event));
}

bool PresentationSource::handleQuery(GstQuery* query) const {
  const auto timeline = [&] {
    return _setup.playback->timeline(secondsOf(_range.requested().start));
  };
  GstFormat format = GST_FORMAT_UNDEFINED;
  if (GST_QUERY_TYPE(query) == GST_QUERY_DURATION) {
    gst_query_parse_duration(query, &format, nullptr);
    const double duration = timeline().duration;
    if (format != GST_FORMAT_TIME || !std::isfinite(duration) || duration <= 0) return false;
    gst_query_set_duration(query, format, static_cast<gint64>(sourceTime(duration)));
    return true;
  }
  if (GST_QUERY_TYPE(query) == GST_QUERY_SEEKING) {
    gst_query_parse_seeking(query, &format, nullptr, nullptr, nullptr);
    if (format != GST_FORMAT_TIME) return false;
    const auto ranges = timeline().seekable;
    if (ranges.empty()) {
      gst_query_set_seeking(query, format, FALSE, 0, -1);
      return true;
    }
    const double end = ranges.back().start + ranges.back().duration;
    gst_query_set_seeking(query, format, TRUE,
                          static_cast<gint64>(sourceTime(ranges.front().start)),
                          static_cast<gint64>(sourceTime(end)));
    return true;
  }
  if (GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) {
    gst_query_set_latency(query, FALSE, 0, GST_CLOCK_TIME_NONE);
    return true;
  }
  return false;
}

void PresentationSource::select(const streaming::TrackSelection& selection) {
  streaming::TrackSelection loaded = selection;
  const auto presentation = _setup.playback->presentation();
  // Audio that is muxed with video needs the video track to be loaded, even if it is not shown.
  if (loaded.video.empty() && !loaded.audio.empty() && presentation) {
    const std::string before = _setup.playback->selection().video;
    for (const auto& period : presentation->periods)
      for (const auto& track : period.tracks)
        if (track.id == loaded.audio && track.isMuxedIntoVideo) loaded.video = before;
  }
  {
    const std::lock_guard lock(_mutex);
    _wanted = selection;
  }
  _setup.playback->select(loaded);
}

std::optional<platform::Error> PresentationSource::failure() const {
  const std::lock_guard lock(_mutex);
  return _failure;
}

std::optional<double> PresentationSource::queuedUntil() const {
  std::optional<double> least;
  for (const auto& [kind, stream] : _streams) {
    const auto newest = _queues.newest(kind);
    if (!newest || _queues.isComplete(kind)) continue;
    least = std::min(least.value_or(*newest), *newest);
  }
  return least;
}

/// Only a little is queued behind the pads, so the pushed position is nearly the played one.
void PresentationSource::_noteReached(ElementaryKind kind, double seconds) {
  if (kind == ElementaryKind::Video || !_showsPicture) _setup.playback->setPosition(seconds);
}

void PresentationSource::_noteWait(bool waits) {
  if (!_setup.waiting) return;
  std::unique_lock lock(_mutex);
  _waitCount += waits ? 1 : -1;
  // One thread at a time makes the calls, so that the last call has the current value.
  if (std::exchange(_isReporting, true)) return;
  while (_reportedWaiting != (_waitCount > 0)) {
    const bool isWaiting = _reportedWaiting = _waitCount > 0;
    lock.unlock();
    _setup.waiting(isWaiting);
    lock.lock();
  }
  _isReporting = false;
}

void PresentationSource::_noteFailure(ElementaryKind kind, const platform::Error& error) {
  bool isLast = true;
  {
    const std::lock_guard lock(_mutex);
    if (!_failure) _failure = error;
    for (auto& [each, stream] : _streams) {
      if (each == kind) stream.hasFailed = true;
      if (stream.isFed && !stream.hasFailed && !_queues.isMissing(each)) isLast = false;
    }
  }
  const std::string text = error.description();
  if (isLast)
    GST_ELEMENT_ERROR(_element, RESOURCE, FAILED, (nullptr), ("%s", text.c_str()));
  else
    GST_ELEMENT_WARNING(_element, RESOURCE, FAILED, (nullptr), ("%s", text.c_str()));
}

void PresentationSource::_reportMissing(GstCaps* caps) {
  const std::string name =
      std::string(gst_structure_get_name(gst_caps_get_structure(caps, 0))) + " decoder";
  GstStructure* const content =
      gst_structure_new("missing-plugin", "type", G_TYPE_STRING, "decoder", "detail", GST_TYPE_CAPS,
                        caps, "name", G_TYPE_STRING, name.c_str(), nullptr);
  gst_element_post_message(_element, gst_message_new_element(GST_OBJECT(_element), content));
}

}  // namespace media
