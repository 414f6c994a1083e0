#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "media/pipeline/AudioDevice.h"

namespace testing_media {

/// A fake sound device that records when buffers were played. It can be unplugged, and it can be
/// exclusive: only one sink can have it open.
class TestSound final : public media::AudioDevice {
 public:
  /// The time in which one sink has played, by the shared clock.
  struct Played {
    GstClockTime begin = GST_CLOCK_TIME_NONE;
    GstClockTime end = GST_CLOCK_TIME_NONE;
    int buffers = 0;
  };

  explicit TestSound(bool exclusive = false) : _exclusive(exclusive) {}
  /// Synchronizes with the handler of the last buffer.
  ~TestSound() override { const std::lock_guard lock(_mutex); }

  media::GstRef<GstElement> open() override {
    if (isGone) return {};
    media::GstRef<GstElement> sink(
        GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("fakesink", nullptr))));
    {
      const std::lock_guard lock(_mutex);
      g_object_set_data(G_OBJECT(sink.get()), kIndex, GSIZE_TO_POINTER(_played.size()));
      _played.emplace_back();
    }
    g_object_set(sink.get(), "sync", TRUE, "signal-handoffs", TRUE, nullptr);
    g_signal_connect(sink.get(), "handoff", G_CALLBACK(_onBuffer), this);
    const media::GstRef<GstPad> pad(gst_element_get_static_pad(sink.get(), "sink"));
    gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, _onPad, this, nullptr);
    gst_element_set_state(sink.get(), GST_STATE_READY);
    return sink;
  }
  bool isExclusive() override { return _exclusive; }

  /// One entry for each time that the device was opened.
  std::vector<Played> played() const {
    const std::lock_guard lock(_mutex);
    return _played;
  }
  std::atomic<bool> isGone = false;

 private:
  static constexpr const char* kIndex = "index";

  static void _onBuffer(GstElement* sink, GstBuffer* buffer, GstPad* pad, gpointer data) {
    auto& device = *static_cast<TestSound*>(data);
    GstEvent* event = gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0);
    const GstSegment* segment = nullptr;
    gst_event_parse_segment(event, &segment);
    const GstClockTime begin =
        gst_element_get_base_time(sink) +
        gst_segment_to_running_time(segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
    gst_event_unref(event);
    const std::lock_guard lock(_mutex);
    Played& played = device._played[GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(sink), kIndex))];
    if (played.buffers++ == 0) played.begin = begin;
    played.end = begin + GST_BUFFER_DURATION(buffer);
  }

  static GstPadProbeReturn _onPad(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
    {
      const std::lock_guard lock(_mutex);
      if (!static_cast<TestSound*>(data)->isGone) return GST_PAD_PROBE_OK;
    }
    GstElement* sink = gst_pad_get_parent_element(pad);
    GST_ELEMENT_ERROR(sink, RESOURCE, WRITE, ("It is gone."), (nullptr));
    gst_object_unref(sink);
    gst_buffer_unref(GST_PAD_PROBE_INFO_BUFFER(info));
    GST_PAD_PROBE_INFO_FLOW_RETURN(info) = GST_FLOW_ERROR;
    return GST_PAD_PROBE_HANDLED;
  }

  const bool _exclusive;
  /// Outlives all sinks: thread sanitizers do not see GLib's synchronization.
  static inline std::mutex _mutex;
  std::vector<Played> _played;
};

}  // namespace testing_media
