#include "media/elements/ResourcePipeline.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gst/pbutils/pbutils.h>

#include "media/elements/LibavDemuxer.h"
#include "media/elements/SinkTail.h"
#include "media/support/DecoderLookup.h"
#include "media/support/GstRef.h"
#include "media/support/MediaErrors.h"

namespace media {
namespace {

/// Data of a parser pad: the sink pad of decodebin3 that was requested for it.
constexpr const char* kInput = "vorlane-input";

/// Number of damaged packets before the first good one after which a decoder fails.
constexpr gint kMaxErrorsAtStart = 20;

struct ResourceParts {
  // Owned by the pipeline.
  GstElement* source = nullptr;
  GstElement* parser = nullptr;
  GstElement* decoder = nullptr;
  GstStreamType leftOut{};
  std::atomic<bool> hasStreams = false;  // that play
  std::mutex filterMutex;                // guards the following
  std::set<std::string, std::less<>> leftOutIDs;
  GstRef<GstStreamCollection> unfiltered;
  GstRef<GstStreamCollection> filtered;
  std::vector<SinkTail> tails;
};

struct ResourcePipeline {
  GstPipeline parent;
  ResourceParts* parts;
};
struct ResourcePipelineClass {
  GstPipelineClass parent;
};
GstElementClass* resourcePipelineParent = nullptr;

ResourceParts& partsOf(gpointer pipeline) {
  return *static_cast<ResourcePipeline*>(pipeline)->parts;
}

/// Returns whether a stream does not play: audio or video of a kind that is left out, and anything
/// without a decoder, such as a file that parsebin has no demuxer for. decodebin3 would typefind
/// the latter again, and sometimes waits for itself.
bool isLeftOut(const ResourceParts& parts, const GstCaps* caps) {
  if (!caps || gst_caps_is_any(caps) || gst_caps_is_empty(caps)) return false;
  const std::string_view type = gst_structure_get_name(gst_caps_get_structure(caps, 0));
  if ((parts.leftOut & GST_STREAM_TYPE_VIDEO) != 0 && type.starts_with("video/")) return true;
  if ((parts.leftOut & GST_STREAM_TYPE_AUDIO) != 0 && type.starts_with("audio/")) return true;
  if (isOptionalStream(type) || type.ends_with("/x-raw") || type == "application/x-cenc")
    return false;
  return !hasDecoder(caps);
}

/// Returns the streams that play: `all` itself if these are all. decodebin3 has to get the
/// same object from each pad of the parser.
GstRef<GstStreamCollection> playableStreams(ResourceParts& parts, GstStreamCollection* all) {
  const std::lock_guard lock(parts.filterMutex);
  if (parts.unfiltered.get() != all) {
    parts.unfiltered.reset(GST_STREAM_COLLECTION(gst_object_ref(all)));
    parts.filtered.reset(gst_stream_collection_new(gst_stream_collection_get_upstream_id(all)));
    const guint count = gst_stream_collection_get_size(all);
    for (guint index = 0; index < count; ++index) {
      GstStream* const stream = gst_stream_collection_get_stream(all, index);
      // Not by the caps of the stream, which may be those of an outer container.
      if (!parts.leftOutIDs.contains(gst_stream_get_stream_id(stream)))
        gst_stream_collection_add_stream(parts.filtered.get(),
                                         GST_STREAM_CAST(gst_object_ref(stream)));
    }
    if (gst_stream_collection_get_size(parts.filtered.get()) == count)
      parts.filtered.reset(GST_STREAM_COLLECTION(gst_object_ref(all)));
  }
  return GstRef<GstStreamCollection>(GST_STREAM_COLLECTION(gst_object_ref(parts.filtered.get())));
}

/// decodebin3 adds its own parsebin to an input unless its stream-start event has this field, which
/// urisourcebin normally sets.
GstPadProbeReturn changeParserEvent(GstPad*, GstPadProbeInfo* info, gpointer pipeline) {
  GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) == GST_EVENT_STREAM_COLLECTION) {
    GstStreamCollection* parsed = nullptr;
    gst_event_parse_stream_collection(event, &parsed);
    const GstRef<GstStreamCollection> all(parsed);
    const auto playable = playableStreams(partsOf(pipeline), parsed);
    if (playable == all) return GST_PAD_PROBE_OK;
    GST_PAD_PROBE_INFO_DATA(info) = gst_event_new_stream_collection(playable.get());
    gst_event_unref(event);
    return GST_PAD_PROBE_OK;
  }
  if (GST_EVENT_TYPE(event) != GST_EVENT_STREAM_START) return GST_PAD_PROBE_OK;
  event = gst_event_make_writable(event);
  gst_structure_set(gst_event_writable_structure(event), "urisourcebin-parsed-data", G_TYPE_BOOLEAN,
                    TRUE, nullptr);
  GST_PAD_PROBE_INFO_DATA(info) = event;
  return GST_PAD_PROBE_OK;
}

/// Called on a streaming thread while all streams of the parser are blocked.
void decodeStream(GstElement*, GstPad* stream, gpointer pipeline) {
  if (!GST_PAD_IS_SRC(stream)) return;
  ResourceParts& parts = partsOf(pipeline);
  const GstRef<GstCaps> caps(gst_pad_get_current_caps(stream));
  if (isLeftOut(parts, caps.get())) {
    const GstRef<gchar> id(gst_pad_get_stream_id(stream));
    if (id) {
      const std::lock_guard lock(parts.filterMutex);
      parts.leftOutIDs.insert(id.get());
      parts.unfiltered.reset();
    }
    if (!hasDecoder(caps.get()))
      gst_element_post_message(parts.parser,
                               gst_missing_decoder_message_new(parts.parser, caps.get()));
    return;
  }
  parts.hasStreams = true;
  GstElement* const decoder = parts.decoder;
  gst_pad_add_probe(stream, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, changeParserEvent, pipeline,
                    nullptr);
  GstRef<GstPad> input(gst_element_get_static_pad(decoder, "sink"));
  if (!gst_pad_is_linked(input.get())) {
    gst_pad_link_full(stream, input.get(), GST_PAD_LINK_CHECK_NOTHING);
    return;
  }
  input.reset(gst_element_request_pad_simple(decoder, "sink_%u"));
  if (!input) return;
  gst_pad_link_full(stream, input.get(), GST_PAD_LINK_CHECK_NOTHING);
  g_object_set_data_full(G_OBJECT(stream), kInput, input.release(), gst_object_unref);
}

void failWithoutStreams(GstElement* parser, gpointer pipeline) {
  if (!partsOf(pipeline).hasStreams)
    GST_ELEMENT_ERROR(parser, CORE, MISSING_PLUGIN, (nullptr), ("no stream can be decoded"));
}

void releaseStream(GstElement*, GstPad* stream, gpointer pipeline) {
  if (auto* const input = static_cast<GstPad*>(g_object_steal_data(G_OBJECT(stream), kInput))) {
    const GstRef<GstPad> owned(input);
    gst_element_release_request_pad(partsOf(pipeline).decoder, input);
  }
}

/// Lets an audio decoder fail that cannot decode anything. By default it would try until the end.
/// After the first output, damaged packets are ignored again.
void limitErrors(GstBin*, GstBin*, GstElement* decoder, gpointer) {
  if (!hasClass(decoder, "Decoder") || !hasClass(decoder, "Audio") ||
      !g_object_class_find_property(G_OBJECT_GET_CLASS(decoder), "max-errors"))
    return;
  const GstRef<GstPad> source(gst_element_get_static_pad(decoder, "src"));
  if (!source) return;
  g_object_set(decoder, "max-errors", kMaxErrorsAtStart, nullptr);
  gst_pad_add_probe(
      source.get(), GST_PAD_PROBE_TYPE_BUFFER,
      [](GstPad* pad, GstPadProbeInfo*, gpointer) {
        const GstRef<GstElement> owner(gst_pad_get_parent_element(pad));
        if (owner) g_object_set(owner.get(), "max-errors", -1, nullptr);
        return GST_PAD_PROBE_REMOVE;
      },
      nullptr, nullptr);
}

/// Called on a streaming thread of decodebin3.
void showStream(GstElement*, GstPad* pad, gpointer pipeline) {
  if (!GST_PAD_IS_SRC(pad)) return;
  const GstRef<GstStream> stream(gst_pad_get_stream(pad));
  if (!stream) return;
  const GstStreamType type = gst_stream_get_stream_type(stream.get());
  for (SinkTail& tail : partsOf(pipeline).tails)
    if (type & tail.type()) return tail.link(pad);
}

/// Starts the source and the parser last. An element whose pads are not active yet would return
/// FLUSHING, which stops the source without an error message.
GstStateChangeReturn changePipelineState(GstElement* pipeline, GstStateChange change) {
  const ResourceParts& parts = partsOf(pipeline);
  GstElement* const front[] = {parts.parser, parts.source};
  const bool starts = change == GST_STATE_CHANGE_READY_TO_PAUSED;
  if (starts)
    for (GstElement* const each : front) gst_element_set_locked_state(each, TRUE);
  GstStateChangeReturn result = resourcePipelineParent->change_state(pipeline, change);
  if (!starts) return result;
  for (GstElement* const each : front) {
    gst_element_set_locked_state(each, FALSE);
    if (result == GST_STATE_CHANGE_FAILURE) continue;
    const GstStateChangeReturn started = gst_element_set_state(each, GST_STATE_PAUSED);
    if (started == GST_STATE_CHANGE_FAILURE || started == GST_STATE_CHANGE_NO_PREROLL)
      result = started;
  }
  return result;
}

void endUnlinkedTails(ResourceParts& parts) {
  for (SinkTail& tail : parts.tails) tail.endIfUnlinked();
}

/// Takes the event.
gboolean seekResource(ResourceParts& parts, GstEvent* event) {
  const GstRef<GstEvent> owned(event);
  endUnlinkedTails(parts);
  for (const SinkTail& tail : parts.tails) tail.setSpareRoom(false);
  return std::any_of(parts.tails.begin(), parts.tails.end(), [event](const SinkTail& tail) {
    return tail.isLinked() && gst_pad_push_event(tail.head(), gst_event_ref(event));
  });
}

gboolean sendEvent(GstElement* pipeline, GstEvent* event) {
  ResourceParts& parts = partsOf(pipeline);
  if (GST_EVENT_TYPE(event) == GST_EVENT_SEEK) return seekResource(parts, event);
  if (GST_EVENT_TYPE(event) == GST_EVENT_SELECT_STREAMS) {
    const gboolean result = gst_element_send_event(parts.decoder, event);
    // decodebin3 changes a stream when no thread is in its pad. A seek follows, which empties the
    // queues.
    for (const SinkTail& tail : parts.tails) tail.setSpareRoom(true);
    return result;
  }
  return resourcePipelineParent->send_event(pipeline, event);
}

/// Ignores text sinks: after a seek their position continues from before the seek until the clock
/// runs.
gboolean answerPosition(const ResourceParts& parts, GstQuery* query) {
  GstFormat format = GST_FORMAT_UNDEFINED;
  gst_query_parse_position(query, &format, nullptr);
  gint64 largest = -1;
  for (const SinkTail& tail : parts.tails) {
    gint64 position = -1;
    if (tail.type() != GST_STREAM_TYPE_TEXT && tail.isLinked() &&
        gst_element_query_position(tail.sink(), format, &position))
      largest = std::max(largest, position);
  }
  if (largest >= 0) gst_query_set_position(query, format, largest);
  return largest >= 0;
}

gboolean answerQuery(GstElement* pipeline, GstQuery* query) {
  return GST_QUERY_TYPE(query) == GST_QUERY_POSITION
             ? answerPosition(partsOf(pipeline), query)
             : resourcePipelineParent->query(pipeline, query);
}

/// Called on any thread.
void handleMessage(GstBin* bin, GstMessage* message) {
  ResourceParts& parts = partsOf(bin);
  const GstMessageType type = GST_MESSAGE_TYPE(message);
  const bool isOfParser = GST_MESSAGE_SRC(message) == GST_OBJECT(parts.parser);
  if (type == GST_MESSAGE_STREAM_COLLECTION && isOfParser)
    return gst_message_unref(message);  // only the message of decodebin3 is passed on
  if (type == GST_MESSAGE_STREAMS_SELECTED) endUnlinkedTails(parts);
  GST_BIN_CLASS(resourcePipelineParent)->handle_message(bin, message);
}

void createParts(GTypeInstance* instance, gpointer) {
  static_cast<ResourcePipeline*>(static_cast<gpointer>(instance))->parts = new ResourceParts;
}

void initialisePipelineClass(gpointer type, gpointer) {
  resourcePipelineParent = static_cast<GstElementClass*>(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    delete static_cast<ResourcePipeline*>(static_cast<gpointer>(object))->parts;
    G_OBJECT_CLASS(resourcePipelineParent)->finalize(object);
  };
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  element->change_state = changePipelineState;
  element->send_event = sendEvent;
  element->query = answerQuery;
  GST_BIN_CLASS(type)->handle_message = handleMessage;
}

GType resourcePipelineType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_PIPELINE, "VorlaneResource", sizeof(ResourcePipelineClass), initialisePipelineClass,
      sizeof(ResourcePipeline), createParts, static_cast<GTypeFlags>(0));
  return type;
}

bool addTails(GstBin* bin, ResourceParts& parts, const ResourcePipelineSetup& setup) {
  const std::pair<GstStreamType, GstElement*> sinks[] = {{GST_STREAM_TYPE_VIDEO, setup.videoSink},
                                                         {GST_STREAM_TYPE_AUDIO, setup.audioSink},
                                                         {GST_STREAM_TYPE_TEXT, setup.textSink}};
  for (const auto& [type, sink] : sinks) {
    if (!sink) continue;
    auto tail = SinkTail::add(bin, type, sink);
    if (!tail) return false;
    parts.tails.push_back(std::move(*tail));
  }
  return true;
}

}  // namespace

GstRef<GstElement> makeResourcePipeline(const ResourcePipelineSetup& setup) {
  const GstRef<GstElement> source(GST_ELEMENT(gst_object_ref_sink(setup.source)));
  GstRef<GstElement> made(GST_ELEMENT(gst_object_ref_sink(
      g_object_new(resourcePipelineType(), "name", "resource-pipeline", nullptr))));
  if (setup.bus) {
    // Its owner posts messages of its own, also when the pipeline has been stopped.
    g_object_set(made.get(), "auto-flush-bus", FALSE, nullptr);
    gst_element_set_bus(made.get(), setup.bus);
  }
  auto* const bin = GST_BIN(made.get());
  ResourceParts& parts = partsOf(bin);
  parts.leftOut = setup.leftOut;
  parts.source = source.get();
  parts.parser = gst_element_factory_make("parsebin", nullptr);
  parts.decoder = gst_element_factory_make("decodebin3", nullptr);
  for (GstElement* const each : {parts.source, parts.parser, parts.decoder})
    if (!each || !gst_bin_add(bin, each)) return {};
  if (setup.usesLibavformat) {
    const GstRef<GstCaps> caps(gst_caps_new_empty_simple(kLibavInputCaps));
    g_object_set(parts.parser, "sink-caps", caps.get(), nullptr);
  }
  g_signal_connect(bin, "deep-element-added", G_CALLBACK(limitErrors), nullptr);
  g_signal_connect(parts.parser, "pad-added", G_CALLBACK(decodeStream), bin);
  g_signal_connect(parts.parser, "no-more-pads", G_CALLBACK(failWithoutStreams), bin);
  g_signal_connect(parts.parser, "pad-removed", G_CALLBACK(releaseStream), bin);
  g_signal_connect(parts.decoder, "pad-added", G_CALLBACK(showStream), bin);
  const bool isComplete =
      gst_element_link(parts.source, parts.parser) && addTails(bin, parts, setup);
  return isComplete ? std::move(made) : GstRef<GstElement>();
}

}  // namespace media
