#pragma once

#include <atomic>
#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/elements/PresentationPipeline.h"
#include "media/support/GstRef.h"
#include "media/support/GstTime.h"
#include "tests/media/elements/FakePresentation.h"

namespace fake_presentation {

constexpr GstClockTime kMessageLimit = 30 * GST_SECOND;

/// A sink that records the times of its buffers.
class RecordingSink {
 public:
  RecordingSink() : _element(gst_element_factory_make("fakesink", nullptr)) {
    gst_object_ref_sink(_element.get());
    g_object_set(_element.get(), "sync", FALSE, nullptr);
    const media::GstRef<GstPad> pad(gst_element_get_static_pad(_element.get(), "sink"));
    gst_pad_add_probe(pad.get(),
                      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                                   GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                                   GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                      onItem, this, nullptr);
  }
  GstElement* element() const { return _element.get(); }
  /// The times since the last flush.
  std::vector<double> times() const {
    const std::lock_guard lock(_mutex);
    return _times;
  }
  double end() const {
    const std::lock_guard lock(_mutex);
    return _end;
  }
  bool hasGap() const {
    const std::lock_guard lock(_mutex);
    return _hasGap;
  }

 private:
  static GstPadProbeReturn onItem(GstPad*, GstPadProbeInfo* info, gpointer self) {
    auto& me = *static_cast<RecordingSink*>(self);
    const std::lock_guard lock(me._mutex);
    if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
      // A buffer out of order would be dropped as late.
      EXPECT_TRUE(me._times.empty() || !me._hasGap || me._times.back() >= me._gapStart ||
                  media::secondsOf(GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info))) >=
                      me._gapStart);
      GstBuffer* const buffer = GST_PAD_PROBE_INFO_BUFFER(info);
      me._times.push_back(media::secondsOf(GST_BUFFER_PTS(buffer)));
      me._end = me._times.back() + media::secondsOf(GST_BUFFER_DURATION(buffer));
    } else if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_FLUSH_STOP) {
      me._times.clear();
      me._hasGap = false;
    } else if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_GAP) {
      me._hasGap = true;
      GstClockTime start = 0;
      gst_event_parse_gap(GST_PAD_PROBE_INFO_EVENT(info), &start, nullptr);
      me._gapStart = media::secondsOf(start);
    }
    return GST_PAD_PROBE_OK;
  }

  const media::GstRef<GstElement> _element;
  mutable std::mutex _mutex;
  std::vector<double> _times;
  double _end = 0;
  bool _hasGap = false;
  double _gapStart = 0;
};

/// Plays a scripted presentation with sinks that do not synchronize.
class Player {
 public:
  explicit Player(std::shared_ptr<Playback> playback, double start = 0) : bus(gst_bus_new()) {
    pipeline = media::PresentationPipeline::make({.playback = std::move(playback),
                                                  .keys = nullptr,
                                                  .videoSink = video.element(),
                                                  .audioSink = audio.element(),
                                                  .bus = bus.get(),
                                                  .start = start,
                                                  .foundID3 = {},
                                                  .foundEvent = {},
                                                  .waiting =
                                                      [this](bool waits) {
                                                        isWaiting = waits;
                                                        isWaiting.notify_all();
                                                      },
                                                  .makeDemuxer = fake_presentation::makeDemuxer});
  }
  ~Player() {
    pipeline->close();
    // No other reference is left, but a state change may still run on a thread of GStreamer.
    gst_bus_set_flushing(bus.get(), TRUE);
    std::promise<void> gone;
    g_object_weak_ref(
        G_OBJECT(pipeline->element()),
        [](gpointer promise, GObject*) { static_cast<std::promise<void>*>(promise)->set_value(); },
        &gone);
    pipeline.reset();
    EXPECT_EQ(gone.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready);
  }

  /// Returns the next message of this type, or an error message, or null after the time-out.
  GstMessageType await(GstMessageType type) {
    while (true) {
      const media::GstRef<GstMessage> message(gst_bus_timed_pop(bus.get(), kMessageLimit));
      if (!message) return GST_MESSAGE_UNKNOWN;
      const GstMessageType found = GST_MESSAGE_TYPE(message.get());
      if (found == GST_MESSAGE_WARNING) ++warningCount;
      const GstStructure* const content = gst_message_get_structure(message.get());
      if (content && gst_structure_has_name(content, "missing-plugin")) ++missingCount;
      const bool isOwn = GST_MESSAGE_SRC(message.get()) == GST_OBJECT(pipeline->element());
      if (found == GST_MESSAGE_ERROR || (found == type && isOwn)) return found;
    }
  }
  bool pause() {
    gst_element_set_state(pipeline->element(), GST_STATE_PAUSED);
    return await(GST_MESSAGE_ASYNC_DONE) == GST_MESSAGE_ASYNC_DONE;
  }
  bool playToEnd() {
    gst_element_set_state(pipeline->element(), GST_STATE_PLAYING);
    return await(GST_MESSAGE_EOS) == GST_MESSAGE_EOS;
  }
  bool seek(double seconds, int flags = GST_SEEK_FLAG_ACCURATE, double rate = 1,
            double stop = -1) const {
    return gst_element_seek(pipeline->element(), rate, GST_FORMAT_TIME,
                            static_cast<GstSeekFlags>(flags | GST_SEEK_FLAG_FLUSH),
                            GST_SEEK_TYPE_SET, std::llround(seconds * 1e9), GST_SEEK_TYPE_SET,
                            stop < 0 ? -1 : std::llround(stop * 1e9)) == TRUE;
  }
  bool seekAndWait(double seconds, int flags = GST_SEEK_FLAG_ACCURATE, double rate = 1,
                   double stop = -1) {
    return seek(seconds, flags, rate, stop) &&
           await(GST_MESSAGE_ASYNC_DONE) == GST_MESSAGE_ASYNC_DONE;
  }
  double position() const {
    gint64 position = -1;
    gst_element_query_position(pipeline->element(), GST_FORMAT_TIME, &position);
    return media::secondsOf(position);
  }

  RecordingSink video;
  RecordingSink audio;
  const media::GstRef<GstBus> bus;
  std::atomic<bool> isWaiting = false;
  int warningCount = 0;
  int missingCount = 0;
  std::unique_ptr<media::PresentationPipeline> pipeline;
};

}  // namespace fake_presentation
