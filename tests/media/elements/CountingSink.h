#pragma once

#include <atomic>

#include <gst/gst.h>

#include "media/support/GstRef.h"

namespace testing_media {

/// A sink that does not synchronize and counts its buffers.
class CountingSink {
 public:
  CountingSink() : _element(gst_element_factory_make("fakesink", nullptr)) {
    gst_object_ref_sink(_element.get());
    g_object_set(_element.get(), "sync", FALSE, nullptr);
    const media::GstRef<GstPad> pad(gst_element_get_static_pad(_element.get(), "sink"));
    gst_pad_add_probe(
        pad.get(), GST_PAD_PROBE_TYPE_BUFFER,
        [](GstPad*, GstPadProbeInfo*, gpointer counter) {
          ++*static_cast<std::atomic<int>*>(counter);
          return GST_PAD_PROBE_OK;
        },
        &count, nullptr);
  }
  GstElement* element() const { return _element.get(); }
  std::atomic<int> count = 0;

 private:
  const media::GstRef<GstElement> _element;
};

}  // namespace testing_media
