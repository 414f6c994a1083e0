#include "media/elements/DecoderChoice.h"

#include <memory>
#include <utility>

namespace media {
namespace {

struct FactoryListRelease {
  void operator()(GList* list) const { gst_plugin_feature_list_free(list); }
};
using FactoryList = std::unique_ptr<GList, FactoryListRelease>;

/// Returns the factories that may accept `caps`, by descending rank.
FactoryList factoriesFor(GstElementFactoryListType type, GstCaps* caps) {
  const FactoryList all(gst_element_factory_list_get_elements(type, GST_RANK_MARGINAL));
  GList* const fitting = gst_element_factory_list_filter(all.get(), caps, GST_PAD_SINK, FALSE);
  return FactoryList(g_list_sort(fitting, gst_plugin_feature_rank_compare_func));
}

GstRef<GstElement> makeWith(gpointer factory) {
  GstElement* const made = gst_element_factory_create(GST_ELEMENT_FACTORY(factory), nullptr);
  return GstRef<GstElement>(made ? GST_ELEMENT(gst_object_ref_sink(made)) : nullptr);
}

bool isRaw(const GstCaps* caps) {
  const GstStructure* const media = gst_caps_get_structure(caps, 0);
  return gst_structure_has_name(media, "video/x-raw") ||
         gst_structure_has_name(media, "audio/x-raw");
}

/// The state of the pad behind a parser that is tried. The pad accepts what the decoder accepts.
struct Trial {
  GstCaps* taken = nullptr;  // caps of the decoder; null: any
  GstRef<GstCaps> found;     // caps of the parser's output
};
constexpr const char* kTrial = "vorlane-trial";

Trial& trialOf(GstPad* pad) {
  return *static_cast<Trial*>(g_object_get_data(G_OBJECT(pad), kTrial));
}

GstFlowReturn dropBuffer(GstPad*, GstObject*, GstBuffer* buffer) {
  gst_buffer_unref(buffer);
  return GST_FLOW_OK;
}

gboolean recordCaps(GstPad* pad, GstObject*, GstEvent* event) {
  const GstRef<GstEvent> owned(event);
  if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) return TRUE;
  GstCaps* caps = nullptr;
  gst_event_parse_caps(event, &caps);
  trialOf(pad).found.reset(gst_caps_ref(caps));
  return TRUE;
}

gboolean answerTrialQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
  GstCaps* const taken = trialOf(pad).taken;
  if (GST_QUERY_TYPE(query) == GST_QUERY_CAPS) {
    GstCaps* filter = nullptr;
    gst_query_parse_caps(query, &filter);
    // Without a restriction answer ANY rather than the current caps: h264parse of GStreamer 1.22
    // leaks a value each time that caps do not intersect.
    const GstRef<GstCaps> all(taken ? gst_caps_ref(taken) : gst_caps_new_any());
    const GstRef<GstCaps> answer(
        filter ? gst_caps_intersect_full(filter, all.get(), GST_CAPS_INTERSECT_FIRST)
               : gst_caps_ref(all.get()));
    gst_query_set_caps_result(query, answer.get());
    return TRUE;
  }
  if (GST_QUERY_TYPE(query) == GST_QUERY_ACCEPT_CAPS) {
    GstCaps* caps = nullptr;
    gst_query_parse_accept_caps(query, &caps);
    gst_query_set_accept_caps_result(query, !taken || gst_caps_can_intersect(caps, taken));
    return TRUE;
  }
  return gst_pad_query_default(pad, parent, query);
}

/// Returns the output caps of a parser for a decoder that accepts `taken`, or null without output.
GstRef<GstCaps> parsedCaps(gpointer parserFactory, GstCaps* caps, GstBuffer* first,
                           GstCaps* taken) {
  const GstRef<GstElement> parser = makeWith(parserFactory);
  if (!parser) return {};
  const GstRef<GstPad> head(gst_element_get_static_pad(parser.get(), "sink"));
  const GstRef<GstPad> end(gst_element_get_static_pad(parser.get(), "src"));
  if (!head || !end) return {};
  Trial trial{taken, {}};
  const GstRef<GstPad> from(GST_PAD(gst_object_ref_sink(gst_pad_new(nullptr, GST_PAD_SRC))));
  const GstRef<GstPad> to(GST_PAD(gst_object_ref_sink(gst_pad_new(nullptr, GST_PAD_SINK))));
  g_object_set_data(G_OBJECT(to.get()), kTrial, &trial);
  gst_pad_set_chain_function(to.get(), dropBuffer);
  gst_pad_set_event_function(to.get(), recordCaps);
  gst_pad_set_query_function(to.get(), answerTrialQuery);
  gst_pad_link_full(from.get(), head.get(), GST_PAD_LINK_CHECK_NOTHING);
  gst_pad_link_full(end.get(), to.get(), GST_PAD_LINK_CHECK_NOTHING);
  gst_pad_set_active(to.get(), TRUE);
  gst_element_set_state(parser.get(), GST_STATE_PAUSED);
  gst_pad_set_active(from.get(), TRUE);
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  gst_pad_push_event(from.get(), gst_event_new_stream_start("trial"));
  gst_pad_push_event(from.get(), gst_event_new_caps(caps));
  gst_pad_push_event(from.get(), gst_event_new_segment(&segment));
  gst_pad_push(from.get(), gst_buffer_copy(first));
  gst_pad_push_event(from.get(), gst_event_new_eos());
  gst_pad_set_active(from.get(), FALSE);
  gst_element_set_state(parser.get(), GST_STATE_NULL);
  gst_pad_set_active(to.get(), FALSE);
  gst_pad_unlink(from.get(), head.get());
  gst_pad_unlink(end.get(), to.get());
  return std::move(trial.found);
}

/// Removes the fields that a parser may change.
GstRef<GstCaps> withoutParsedFields(const GstCaps* caps) {
  GstRef<GstCaps> unparsed(gst_caps_copy(caps));
  for (guint index = 0; index < gst_caps_get_size(unparsed.get()); ++index)
    gst_structure_remove_fields(gst_caps_get_structure(unparsed.get(), index), "stream-format",
                                "alignment", "codec_data", "streamheader", "parsed", "framed",
                                nullptr);
  return unparsed;
}

/// Returns the decoder if it accepts the output of the parser, otherwise null.
GstRef<GstElement> tryDecoder(gpointer factory, gpointer parserFactory, GstCaps* caps,
                              GstBuffer* first) {
  GstRef<GstElement> decoder = makeWith(factory);
  if (!decoder) return {};
  const GstRef<GstPad> sink(gst_element_get_static_pad(decoder.get(), "sink"));
  const GstRef<GstPad> source(gst_element_get_static_pad(decoder.get(), "src"));
  if (sink && source &&
      gst_element_set_state(decoder.get(), GST_STATE_READY) != GST_STATE_CHANGE_FAILURE) {
    const GstRef<GstCaps> taken(gst_pad_query_caps(sink.get(), nullptr));
    GstRef<GstCaps> parsed(gst_caps_ref(caps));
    if (parserFactory) parsed = parsedCaps(parserFactory, caps, first, taken.get());
    // Without output the parser may need more than one packet: compare the caps instead.
    if (parsed ? gst_pad_query_accept_caps(sink.get(), parsed.get())
               : gst_caps_can_intersect(withoutParsedFields(caps).get(), taken.get()))
      return decoder;
  }
  gst_element_set_state(decoder.get(), GST_STATE_NULL);
  return {};
}

}  // namespace

std::optional<DecoderChoice> chooseDecoder(ElementaryKind kind, GstCaps* caps, GstBuffer* first) {
  if (isRaw(caps)) return DecoderChoice{};
  const GstElementFactoryListType media = kind == ElementaryKind::Video
                                              ? GST_ELEMENT_FACTORY_TYPE_MEDIA_VIDEO
                                              : GST_ELEMENT_FACTORY_TYPE_MEDIA_AUDIO;
  const FactoryList parsers = factoriesFor(GST_ELEMENT_FACTORY_TYPE_PARSER | media, caps);
  const gpointer parser = parsers ? parsers->data : nullptr;
  // A parser may add fields such as the profile.
  const GstRef<GstCaps> parsed = parser ? parsedCaps(parser, caps, first, nullptr) : nullptr;
  const GstRef<GstCaps> unparsed = withoutParsedFields(parsed ? parsed.get() : caps);
  const FactoryList decoders =
      factoriesFor(GST_ELEMENT_FACTORY_TYPE_DECODER | media, unparsed.get());
  for (const GList* each = decoders.get(); each; each = each->next) {
    auto decoder = tryDecoder(each->data, parser, caps, first);
    if (!decoder) continue;
    return DecoderChoice{parser ? makeWith(parser) : nullptr, std::move(decoder)};
  }
  return std::nullopt;
}

}  // namespace media
