#include "media/elements/ResourcePipeline.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gst/pbutils/pbutils.h>

#include "media/elements/AccurateSeek.h"
#include "media/elements/DecoderAdjustments.h"
#include "media/elements/SinkTail.h"
#include "media/elements/StreamEnds.h"
#include "media/elements/libav/LibavDemuxer.h"
#include "media/support/DecoderLookup.h"
#include "media/support/GstRef.h"
#include "media/support/MediaErrors.h"

namespace media {
namespace {

/// Data of a parser pad: the sink pad of decodebin3 that was requested for it.
constexpr const char* kInput = "vorlane-input";

GstClockTime clockTimeOf(double seconds) {
  return static_cast<GstClockTime>(std::llround(seconds * static_cast<double>(GST_SECOND)));
}

struct ResourceParts {
  // Owned by the pipeline.
  GstElement* source = nullptr;
  GstElement* parser = nullptr;
  GstElement* decoder = nullptr;
  GstStreamType leftOut{};
  std::atomic<bool> hasStreams = false;  // that play
  std::atomic<bool> isImage = false;
  std::mutex filterMutex;  // guards the following
  std::set<std::string, std::less<>> leftOutIDs;
  GstRef<GstStreamCollection> unfiltered;
  GstRef<GstStreamCollection> filtered;
  std::vector<SinkTail> tails;
  std::unique_ptr<AccurateSeek> seek;
  std::optional<MediaSpan> span;  // if it was measured
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

bool isOfLeftOutType(const ResourceParts& parts, std::string_view type) {
  return ((parts.leftOut & GST_STREAM_TYPE_VIDEO) != 0 && type.starts_with("video/")) ||
         ((parts.leftOut & GST_STREAM_TYPE_AUDIO) != 0 && type.starts_with("audio/"));
}

/// Returns whether a stream does not play: it is of a type that is left out, or has no decoder.
/// decodebin3 would typefind an unknown file again, and sometimes waits for itself.
bool isLeftOut(const ResourceParts& parts, const GstCaps* caps) {
  if (!caps || gst_caps_is_any(caps) || gst_caps_is_empty(caps)) return false;
  const std::string_view type = gst_structure_get_name(gst_caps_get_structure(caps, 0));
  if (isOfLeftOutType(parts, type)) return true;
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
  ResourceParts& parts = partsOf(pipeline);
  if (!GST_PAD_IS_SRC(stream) || parts.isImage) return;
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
  gst_pad_add_probe(stream, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, changeParserEvent, pipeline,
                    nullptr);
  parts.seek->watch(stream);
  GstRef<GstPad> input(gst_element_get_static_pad(parts.decoder, "sink"));
  const bool isFurther = gst_pad_is_linked(input.get());
  if (isFurther) input.reset(gst_element_request_pad_simple(parts.decoder, "sink_%u"));
  if (!input) return;
  markEndOfStream(input.get());
  gst_pad_link_full(stream, input.get(), GST_PAD_LINK_CHECK_NOTHING);
  if (isFurther)
    g_object_set_data_full(G_OBJECT(stream), kInput, input.release(), gst_object_unref);
}

/// Returns whether parsebin adds an element to a pad. Parsers of streams that are left out may
/// fail. An image fails here, because parsebin may hang. libavformat plays motion JPEG.
gboolean continueParsing(GstElement* parser, GstPad* pad, GstCaps* caps, gpointer pipeline) {
  ResourceParts& parts = partsOf(pipeline);
  // The pad is a ghost pad that has no parent yet.
  const GstRef<GstPad> target(GST_IS_GHOST_PAD(pad) ? gst_ghost_pad_get_target(GST_GHOST_PAD(pad))
                                                    : nullptr);
  const GstRef<GstElement> owner(target ? gst_pad_get_parent_element(target.get()) : nullptr);
  const std::string_view type = gst_structure_get_name(gst_caps_get_structure(caps, 0));
  if (owner && hasClass(owner.get(), "Demux")) return !isOfLeftOutType(parts, type);
  const bool isFirst = owner && isFromFactory(owner.get(), "typefind");
  if (!isFirst || !type.starts_with("image/")) return TRUE;
  parts.isImage = true;
  GST_ELEMENT_ERROR(parser, STREAM, TYPE_NOT_FOUND, (nullptr), ("an image"));
  return FALSE;
}

void failWithoutStreams(GstElement* parser, gpointer pipeline) {
  if (!partsOf(pipeline).hasStreams && !partsOf(pipeline).isImage)
    GST_ELEMENT_ERROR(parser, CORE, MISSING_PLUGIN, (nullptr), ("no stream can be decoded"));
}

void releaseStream(GstElement*, GstPad* stream, gpointer pipeline) {
  if (auto* const input = static_cast<GstPad*>(g_object_steal_data(G_OBJECT(stream), kInput))) {
    const GstRef<GstPad> owned(input);
    gst_element_release_request_pad(partsOf(pipeline).decoder, input);
  }
}

/// Called on a streaming thread of decodebin3.
void showStream(GstElement*, GstPad* pad, gpointer pipeline) {
  if (!GST_PAD_IS_SRC(pad)) return;
  const GstRef<GstStream> stream(gst_pad_get_stream(pad));
  if (!stream) return;
  for (SinkTail& tail : partsOf(pipeline).tails)
    if (gst_stream_get_stream_type(stream.get()) & tail.type()) return tail.link(pad);
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
gboolean sendSeek(ResourceParts& parts, GstEvent* event) {
  const GstRef<GstEvent> owned(event);
  endUnlinkedTails(parts);
  for (const SinkTail& tail : parts.tails) tail.setSpareRoom(false);
  return std::any_of(parts.tails.begin(), parts.tails.end(), [event](const SinkTail& tail) {
    return tail.isLinked() && gst_pad_push_event(tail.head(), gst_event_ref(event));
  });
}

gboolean sendEvent(GstElement* pipeline, GstEvent* event) {
  ResourceParts& parts = partsOf(pipeline);
  if (GST_EVENT_TYPE(event) == GST_EVENT_SEEK) {
    const GstRef<GstEvent> owned(event);
    const gboolean isSent = sendSeek(parts, parts.seek->begin(event).release());
    if (!isSent) parts.seek->cancel();
    return isSent;
  }
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

/// Returns false if the duration was not measured or the query is another one.
bool answerMeasured(const ResourceParts& parts, GstQuery* query) {
  if (!parts.span) return false;
  GstFormat format = GST_FORMAT_UNDEFINED;
  const double duration = parts.span->duration;
  if (GST_QUERY_TYPE(query) == GST_QUERY_DURATION) {
    gst_query_parse_duration(query, &format, nullptr);
    if (format == GST_FORMAT_TIME)
      gst_query_set_duration(query, format, static_cast<gint64>(clockTimeOf(duration)));
  } else if (GST_QUERY_TYPE(query) == GST_QUERY_SEEKING) {
    gst_query_parse_seeking(query, &format, nullptr, nullptr, nullptr);
    // The resource can be read at any position, or it could not have been measured.
    const auto end = static_cast<gint64>(clockTimeOf(parts.span->seekable.value_or(duration)));
    if (format == GST_FORMAT_TIME) gst_query_set_seeking(query, format, end > 0, 0, end);
  }
  return format == GST_FORMAT_TIME;
}

gboolean answerQuery(GstElement* pipeline, GstQuery* query) {
  const ResourceParts& parts = partsOf(pipeline);
  if (GST_QUERY_TYPE(query) == GST_QUERY_POSITION) return answerPosition(parts, query);
  return answerMeasured(parts, query) || resourcePipelineParent->query(pipeline, query);
}

void noteSelectedVideo(ResourceParts& parts, GstMessage* message) {
  std::string video;
  for (guint index = 0; index < gst_message_streams_selected_get_size(message); ++index) {
    const GstRef<GstStream> stream(gst_message_streams_selected_get_stream(message, index));
    if (gst_stream_get_stream_type(stream.get()) & GST_STREAM_TYPE_VIDEO)
      video = gst_stream_get_stream_id(stream.get());
  }
  parts.seek->setSelectedVideo(video);
}

/// Called on any thread.
void handleMessage(GstBin* bin, GstMessage* message) {
  ResourceParts& parts = partsOf(bin);
  const GstMessageType type = GST_MESSAGE_TYPE(message);
  const bool isOfParser = GST_MESSAGE_SRC(message) == GST_OBJECT(parts.parser);
  // Only the message of decodebin3 is passed on.
  if (type == GST_MESSAGE_STREAM_COLLECTION && isOfParser) return gst_message_unref(message);
  if (type == GST_MESSAGE_STREAMS_SELECTED) {
    noteSelectedVideo(parts, message);
    endUnlinkedTails(parts);
  }
  GST_BIN_CLASS(resourcePipelineParent)->handle_message(bin, message);
}

void createParts(GTypeInstance* instance, gpointer) {
  auto* const pipeline = static_cast<gpointer>(instance);
  auto* const parts = new ResourceParts;
  parts->seek = std::make_unique<AccurateSeek>([pipeline] {
    auto* const source = GST_OBJECT(pipeline);
    gst_element_post_message(GST_ELEMENT(pipeline),
                             gst_message_new_element(source, gst_structure_new_empty(kRepeatSeek)));
  });
  static_cast<ResourcePipeline*>(pipeline)->parts = parts;
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
    endStreamAtMark(tail->head());  // of a stream that needs no decoder
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
  parts.span = setup.span;
  if (parts.span)
    parts.seek->setLead(clockTimeOf(parts.span->lead), clockTimeOf(parts.span->earliest));
  parts.source = source.get();
  parts.parser = gst_element_factory_make("parsebin", nullptr);
  parts.decoder = gst_element_factory_make("decodebin3", nullptr);
  for (GstElement* const each : {parts.source, parts.parser, parts.decoder})
    if (!each || !gst_bin_add(bin, each)) return {};
  if (setup.usesLibavformat) {
    const GstRef<GstCaps> caps(gst_caps_new_empty_simple(kLibavInputCaps));
    g_object_set(parts.parser, "sink-caps", caps.get(), nullptr);
  }
  adjustDecoders(made.get());
  g_signal_connect(parts.parser, "autoplug-continue", G_CALLBACK(continueParsing), bin);
  g_signal_connect(parts.parser, "pad-added", G_CALLBACK(decodeStream), bin);
  g_signal_connect(parts.parser, "no-more-pads", G_CALLBACK(failWithoutStreams), bin);
  g_signal_connect(parts.parser, "pad-removed", G_CALLBACK(releaseStream), bin);
  g_signal_connect(parts.decoder, "pad-added", G_CALLBACK(showStream), bin);
  const bool isComplete =
      gst_element_link(parts.source, parts.parser) && addTails(bin, parts, setup);
  return isComplete ? std::move(made) : GstRef<GstElement>();
}

void finishSeek(GstElement* pipeline) { partsOf(pipeline).seek->finish(); }

void repeatSeek(GstElement* pipeline) {
  ResourceParts& parts = partsOf(pipeline);
  GstRef<GstEvent> event = parts.seek->repeat();
  if (event && !sendSeek(parts, event.release())) parts.seek->cancel();
}

}  // namespace media
