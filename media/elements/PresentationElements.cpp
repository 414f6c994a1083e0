#include "media/elements/PresentationElements.h"

#include <utility>

#include "media/elements/PresentationSource.h"
#include "media/support/GstRef.h"

namespace media {

/// Gives the element access to private functions of its source.
struct PresentationSourceAccess {
  static void start(PresentationSource& source) { source._start(); }
  static void stop(PresentationSource& source) { source._stop(); }
};

namespace {

using SourcePointer = std::shared_ptr<PresentationSource>;

struct PresentationElement {
  GstElement parent;
  SourcePointer* source;
};
struct PresentationElementClass {
  GstElementClass parent;
};
struct PresentationBin {
  GstPipeline parent;
  SourcePointer* source;
};
struct PresentationBinClass {
  GstPipelineClass parent;
};
GstElementClass* presentationElementParent = nullptr;
GstElementClass* presentationBinParent = nullptr;

template <typename T>
PresentationSource& sourceIn(gpointer object) {
  return **static_cast<T*>(object)->source;
}

template <typename T>
void createSource(GTypeInstance* instance, gpointer) {
  static_cast<T*>(static_cast<gpointer>(instance))->source = new SourcePointer;
}

gboolean seekOrPass(GstElementClass* parent, PresentationSource& source, GstElement* element,
                    GstEvent* event) {
  if (GST_EVENT_TYPE(event) != GST_EVENT_SEEK) return parent->send_event(element, event);
  const GstRef<GstEvent> owned(event);
  return source.seek(event);
}

gboolean takePadEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_SEEK) {
    const GstRef<GstEvent> owned(event);
    return sourceIn<PresentationElement>(parent).seek(event);
  }
  if (GST_EVENT_TYPE(event) == GST_EVENT_QOS) {
    gst_event_unref(event);
    return TRUE;
  }
  return gst_pad_event_default(pad, parent, event);
}

gboolean handlePadQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
  return sourceIn<PresentationElement>(parent).handleQuery(query) ||
         gst_pad_query_default(pad, parent, query);
}

GstStateChangeReturn changeState(GstElement* element, GstStateChange change) {
  auto& source = sourceIn<PresentationElement>(element);
  // Before the base class deactivates the pads, which waits for their tasks.
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) PresentationSourceAccess::stop(source);
  const GstStateChangeReturn result = presentationElementParent->change_state(element, change);
  if (change == GST_STATE_CHANGE_READY_TO_PAUSED && result != GST_STATE_CHANGE_FAILURE)
    PresentationSourceAccess::start(source);
  return result;
}

void initialiseElementClass(gpointer type, gpointer) {
  presentationElementParent = static_cast<GstElementClass*>(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    delete static_cast<PresentationElement*>(static_cast<gpointer>(object))->source;
    G_OBJECT_CLASS(presentationElementParent)->finalize(object);
  };
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  const GstRef<GstCaps> any(gst_caps_new_any());
  for (const char* name : {"video", "audio"})
    gst_element_class_add_pad_template(
        element, gst_pad_template_new(name, GST_PAD_SRC, GST_PAD_SOMETIMES, any.get()));
  gst_element_class_set_static_metadata(element, "Presentation source", "Source/Network",
                                        "Pushes the tracks of a presentation", "TVVorlane");
  element->change_state = changeState;
  element->send_event = [](GstElement* self, GstEvent* event) {
    return seekOrPass(presentationElementParent, sourceIn<PresentationElement>(self), self, event);
  };
}

void initialiseBinClass(gpointer type, gpointer) {
  presentationBinParent = static_cast<GstElementClass*>(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    delete static_cast<PresentationBin*>(static_cast<gpointer>(object))->source;
    G_OBJECT_CLASS(presentationBinParent)->finalize(object);
  };
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  element->send_event = [](GstElement* self, GstEvent* event) {
    return seekOrPass(presentationBinParent, sourceIn<PresentationBin>(self), self, event);
  };
  element->query = [](GstElement* self, GstQuery* query) -> gboolean {
    const bool isOwn =
        GST_QUERY_TYPE(query) == GST_QUERY_DURATION || GST_QUERY_TYPE(query) == GST_QUERY_SEEKING;
    return isOwn ? sourceIn<PresentationBin>(self).handleQuery(query)
                 : presentationBinParent->query(self, query);
  };
}

GType presentationElementType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_ELEMENT, "VorlanePresentationSource", sizeof(PresentationElementClass),
      initialiseElementClass, sizeof(PresentationElement), createSource<PresentationElement>,
      static_cast<GTypeFlags>(0));
  return type;
}

GType presentationBinType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_PIPELINE, "VorlanePresentation", sizeof(PresentationBinClass), initialiseBinClass,
      sizeof(PresentationBin), createSource<PresentationBin>, static_cast<GTypeFlags>(0));
  return type;
}

}  // namespace

GstElement* makePresentationElement(SourcePointer source) {
  auto* const element = static_cast<PresentationElement*>(
      g_object_new(presentationElementType(), "name", "presentation", nullptr));
  *element->source = std::move(source);
  GST_OBJECT_FLAG_SET(element, GST_ELEMENT_FLAG_SOURCE);
  return &element->parent;
}

GstPad* addPresentationPad(GstElement* element, ElementaryKind kind) {
  const char* const name = kind == ElementaryKind::Video ? "video" : "audio";
  GstPad* const pad = gst_pad_new(name, GST_PAD_SRC);
  gst_pad_use_fixed_caps(pad);
  gst_pad_set_event_function(pad, takePadEvent);
  gst_pad_set_query_function(pad, handlePadQuery);
  gst_element_add_pad(element, pad);
  return pad;
}

SourcePointer sourceOfPad(GstPad* pad) {
  const GstRef<GstElement> element(gst_pad_get_parent_element(pad));
  return element ? *static_cast<PresentationElement*>(static_cast<gpointer>(element.get()))->source
                 : nullptr;
}

GstElement* makePresentationBin(SourcePointer source) {
  auto* const bin = static_cast<PresentationBin*>(
      g_object_new(presentationBinType(), "name", "presentation-pipeline", nullptr));
  *bin->source = std::move(source);
  return GST_ELEMENT(bin);
}

}  // namespace media
