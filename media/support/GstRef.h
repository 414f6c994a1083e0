#pragma once

#include <memory>
#include <string_view>

#include <gst/gst.h>

namespace media {

/// Deleter for the reference-counted and allocated types of GStreamer and GLib.
struct GstRelease {
  void operator()(GstElement* element) const { gst_object_unref(element); }
  void operator()(GstObject* object) const { gst_object_unref(object); }
  void operator()(GstClock* clock) const { gst_object_unref(clock); }
  void operator()(GstBus* bus) const { gst_object_unref(bus); }
  void operator()(GstPad* pad) const { gst_object_unref(pad); }
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
  void operator()(GstMessage* message) const { gst_message_unref(message); }
  void operator()(GstEvent* event) const { gst_event_unref(event); }
  void operator()(GstQuery* query) const { gst_query_unref(query); }
  void operator()(GstBufferPool* pool) const { gst_object_unref(pool); }
  void operator()(GstSample* sample) const { gst_sample_unref(sample); }
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
  void operator()(GstTagList* tags) const { gst_tag_list_unref(tags); }
  void operator()(GstStream* stream) const { gst_object_unref(stream); }
  void operator()(GstStreamCollection* streams) const { gst_object_unref(streams); }
  void operator()(GstToc* toc) const { gst_toc_unref(toc); }
  void operator()(GError* error) const { g_error_free(error); }
  void operator()(gchar* text) const { g_free(text); }
};

template <typename T>
using GstRef = std::unique_ptr<T, GstRelease>;

/// Returns whether the factory with this name has created `element`.
inline bool isFromFactory(GstElement* element, std::string_view name) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  return factory && name == GST_OBJECT_NAME(factory);
}

/// Returns whether the class of `element`, such as "Codec/Demuxer/Adaptive", contains `word`.
inline bool hasClass(GstElement* element, std::string_view word) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  const char* const name =
      factory ? gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS) : nullptr;
  return name && std::string_view(name).find(word) != std::string_view::npos;
}

}  // namespace media
