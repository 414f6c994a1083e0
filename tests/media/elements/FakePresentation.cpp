#include "tests/media/elements/FakePresentation.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include <gst/app/gstappsink.h>

#include "media/support/GstTime.h"

namespace fake_presentation {
namespace {

using media::ElementaryItem;
using media::ElementaryKind;
using media::GstRef;

class ScriptDemuxer final : public media::TrackDemuxer {
 public:
  explicit ScriptDemuxer(Setup setup)
      : _reader(std::static_pointer_cast<ScriptReader>(setup.reader)) {
    const Script& script = _reader->script;
    const auto listOf = [](const Units& units, ElementaryKind kind, bool isWanted) {
      std::vector<std::pair<ElementaryKind, const Unit*>> list;
      for (const Unit& each : units)
        if (isWanted) list.emplace_back(kind, &each);
      return list;
    };
    const auto video = listOf(script.video, ElementaryKind::Video, setup.wantsVideo);
    const auto audio = listOf(script.audio, ElementaryKind::Audio, setup.wantsAudio);
    std::merge(
        video.begin(), video.end(), audio.begin(), audio.end(), std::back_inserter(_units),
        [](const auto& one, const auto& other) { return one.second->time < other.second->time; });
  }

  void reset() override {
    double start = std::floor(_reader->position);
    // Segments begin with a key frame.
    double key = 0;
    for (const auto& [kind, unit] : _units)
      if (kind == ElementaryKind::Video && unit->isKey && unit->shown <= start) key = unit->time;
    if (!_reader->script.video.empty()) start = key;
    _next = static_cast<std::size_t>(
        std::find_if(_units.begin(), _units.end(),
                     [&](const auto& each) { return each.second->time >= start; }) -
        _units.begin());
    _told.clear();
    _gap = 0;
    const auto& gaps = _reader->script.gaps;
    while (_gap < gaps.size() && gaps[_gap].second <= start) ++_gap;
  }

  std::optional<ElementaryItem> next(const streaming::ReadGate& gate) override {
    if (gate.isClosed()) return std::nullopt;
    const Script& script = _reader->script;
    const double now = _next < _units.size() ? _units[_next].second->time : HUGE_VAL;
    if (script.blocksAt && now >= *script.blocksAt) return _block(gate);
    if (script.failsAt && now >= *script.failsAt)
      return media::ElementaryFailure{platform::Error::status(42)};
    if (_gap < script.gaps.size() && now >= script.gaps[_gap].first) {
      const auto [start, end] = script.gaps[_gap++];
      while (_next < _units.size() && _units[_next].second->time < end) ++_next;
      return media::ElementaryGap{start, end};
    }
    if (_next >= _units.size()) return media::ElementaryEnd{};
    const auto& [kind, unit] = _units[_next];
    GstCaps*& told = _told[kind];
    if (told != unit->caps.get()) {
      told = unit->caps.get();
      return media::ElementaryFormat{kind, GstRef<GstCaps>(gst_caps_ref(told))};
    }
    ++_next;
    return media::ElementaryBuffer{kind, GstRef<GstBuffer>(gst_buffer_copy(unit->buffer.get()))};
  }

 private:
  std::optional<ElementaryItem> _block(const streaming::ReadGate& gate) {
    const streaming::ReadGate::Waiter waiter(gate, _mutex, _changed);
    std::unique_lock lock(_mutex);
    ++_reader->blockCount;
    _reader->blockCount.notify_all();
    _changed.wait(lock, [&] { return gate.isClosed(); });
    return std::nullopt;
  }

  const std::shared_ptr<ScriptReader> _reader;
  std::vector<std::pair<ElementaryKind, const Unit*>> _units;
  std::size_t _next = 0;
  std::size_t _gap = 0;
  std::map<ElementaryKind, GstCaps*> _told;
  std::mutex _mutex;
  std::condition_variable _changed;
};

}  // namespace

Units unitsOf(const std::string& path, ElementaryKind kind, double offset) {
  const std::string pad = kind == ElementaryKind::Video ? "video_0" : "audio_0";
  const std::string description = "filesrc location=" + path + " ! qtdemux name=demuxer demuxer." +
                                  pad + " ! appsink name=sink sync=false max-buffers=0";
  const GstRef<GstElement> pipeline(gst_parse_launch(description.c_str(), nullptr));
  const GstRef<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  Units units;
  std::shared_ptr<GstCaps> caps;
  while (const GstRef<GstSample> sample{gst_app_sink_pull_sample(GST_APP_SINK(sink.get()))}) {
    GstCaps* const found = gst_sample_get_caps(sample.get());
    if (!caps || !gst_caps_is_equal(caps.get(), found))
      caps = std::shared_ptr<GstCaps>(gst_caps_ref(found), gst_caps_unref);
    GstBuffer* const buffer = gst_buffer_copy(gst_sample_get_buffer(sample.get()));
    // Apply edit lists.
    const double moved = offset - media::secondsOf(gst_sample_get_segment(sample.get())->start) +
                         media::secondsOf(gst_sample_get_segment(sample.get())->time);
    // DTS may be before the start of the presentation.
    const auto move = [&](GstClockTime time) {
      const double seconds = media::secondsOf(time) + moved;
      return seconds < 0 ? GST_CLOCK_TIME_NONE
                         : static_cast<GstClockTime>(std::llround(seconds * 1e9));
    };
    Unit unit{caps, {buffer, gst_buffer_unref}};
    GST_BUFFER_PTS(buffer) = move(GST_BUFFER_PTS(buffer));
    unit.shown = unit.time = media::secondsOf(GST_BUFFER_PTS(buffer));
    if (GST_BUFFER_DTS_IS_VALID(buffer)) {
      GST_BUFFER_DTS(buffer) = move(GST_BUFFER_DTS(buffer));
      unit.time = GST_BUFFER_DTS_IS_VALID(buffer) ? media::secondsOf(GST_BUFFER_DTS(buffer)) : 0;
    }
    unit.isKey = !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    units.push_back(std::move(unit));
  }
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  return units;
}

std::unique_ptr<media::TrackDemuxer> makeDemuxer(media::TrackDemuxer::Setup setup) {
  return std::make_unique<ScriptDemuxer>(std::move(setup));
}

Playback::Playback(std::shared_ptr<ScriptReader> video, std::shared_ptr<ScriptReader> audio,
                   double duration)
    : _video(std::move(video)), _audio(std::move(audio)), _duration(duration) {
  auto presentation = std::make_shared<streaming::Presentation>();
  presentation->periods.resize(1);
  auto& tracks = presentation->periods.front().tracks;
  if (_video) {
    tracks.emplace_back().id = _selection.video = "v";
  }
  const bool isWithin = !_audio && _video && !_video->script.audio.empty();
  if (_audio || isWithin) {
    streaming::Track& track = tracks.emplace_back();
    track.kind = streaming::MediaKind::Audio;
    track.id = _selection.audio = "a";
    track.isMuxedIntoVideo = isWithin;
  }
  _presentation = std::move(presentation);
}

std::shared_ptr<const streaming::Presentation> Playback::presentation() const {
  return _presentation;
}

void Playback::select(const streaming::TrackSelection& selection) {
  const std::lock_guard lock(_mutex);
  _selection = selection;
}

streaming::TrackSelection Playback::selection() const {
  const std::lock_guard lock(_mutex);
  return _selection;
}

std::shared_ptr<streaming::TrackReader> Playback::reader(streaming::MediaKind kind) {
  const std::lock_guard lock(_mutex);
  if (kind == streaming::MediaKind::Video && !_selection.video.empty()) return _video;
  if (kind == streaming::MediaKind::Audio && !_selection.audio.empty()) return _audio;
  return nullptr;
}

Playback::Timeline Playback::timeline(double) const {
  Timeline timeline;
  timeline.duration = _duration;
  timeline.seekable = {{0, _duration}};
  return timeline;
}

}  // namespace fake_presentation
