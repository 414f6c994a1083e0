#include "media/elements/libav/LibavDemuxer.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <gst/base/gstflowcombiner.h>

#include "media/elements/libav/LibavCaps.h"
#include "media/elements/libav/LibavConversion.h"
#include "media/elements/libav/LibavDecoder.h"
#include "media/elements/libav/LibavInput.h"
#include "media/elements/libav/LibavTypes.h"
#include "media/support/GstRef.h"

namespace media {
namespace {

/// A stream that is this far behind the newest packet gets a gap, so that nothing waits for it.
constexpr GstClockTime kLargestLag = GST_SECOND;

constexpr const char* kTextPrefix = "subtitle_";

struct DemuxedStream {
  int index = 0;  // of the AVStream
  bool isText = false;
  GstPad* pad = nullptr;  // owned by the element
  GstClockTime position = 0;
  bool isDiscontinuous = true;
};

struct DemuxerState {
  GstPad* sink = nullptr;  // owned by the element
  std::unique_ptr<LibavInput> input;
  std::vector<DemuxedStream> streams;
  GstFlowCombiner* flows = gst_flow_combiner_new();
  // Guarded by the stream lock of the sink pad.
  GstSegment segment{};
  guint32 seekNumber = GST_SEQNUM_INVALID;
  std::optional<std::uint64_t> seekTo;
  bool startsAtKeyFrame = false;  // the segment starts where the seek arrives
  bool needsSegment = true;
  std::atomic<std::int64_t> duration = -1;  // nanoseconds
};

struct LibavDemuxer {
  GstElement parent;
  DemuxerState* state;
};
struct LibavDemuxerClass {
  GstElementClass parent;
};
GstElementClass* libavDemuxerParent = nullptr;

DemuxerState& demuxerState(gpointer element) { return *static_cast<LibavDemuxer*>(element)->state; }

std::optional<std::size_t> pullBytes(DemuxerState& state, std::uint64_t offset,
                                     std::span<std::uint8_t> into) {
  GstBuffer* pulled = nullptr;
  const GstFlowReturn flow =
      gst_pad_pull_range(state.sink, offset, static_cast<guint>(into.size()), &pulled);
  if (flow == GST_FLOW_EOS) return 0;
  if (flow != GST_FLOW_OK) return std::nullopt;
  const GstRef<GstBuffer> buffer(pulled);
  return gst_buffer_extract(pulled, 0, into.data(), into.size());
}

void pushToAll(DemuxerState& state, GstEvent* event) {
  const GstRef<GstEvent> owned(event);
  for (const DemuxedStream& each : state.streams)
    gst_pad_push_event(each.pad, gst_event_ref(event));
}

void demuxNext(gpointer data);

// Seeks and queries of the source pads

gboolean seekDemuxer(GstElement* element, GstEvent* event) {
  DemuxerState& state = demuxerState(element);
  const GstRef<GstEvent> owned(event);
  gdouble rate = 1;
  GstFormat format = GST_FORMAT_UNDEFINED;
  GstSeekFlags flags = GST_SEEK_FLAG_NONE;
  GstSeekType startType = GST_SEEK_TYPE_NONE;
  GstSeekType stopType = GST_SEEK_TYPE_NONE;
  gint64 start = 0;
  gint64 stop = 0;
  gst_event_parse_seek(event, &rate, &format, &flags, &startType, &start, &stopType, &stop);
  if (format != GST_FORMAT_TIME || rate <= 0) return FALSE;
  const guint32 number = gst_event_get_seqnum(event);
  const bool flushes = (flags & GST_SEEK_FLAG_FLUSH) != 0;
  const auto flush = [number](GstEvent* made) {
    gst_event_set_seqnum(made, number);
    return made;
  };
  if (flushes) {
    gst_pad_push_event(state.sink, flush(gst_event_new_flush_start()));
    pushToAll(state, flush(gst_event_new_flush_start()));
  } else {
    gst_pad_pause_task(state.sink);
  }
  GST_PAD_STREAM_LOCK(state.sink);
  gst_segment_do_seek(&state.segment, rate, format, flags, startType, static_cast<guint64>(start),
                      stopType, static_cast<guint64>(stop), nullptr);
  state.seekTo = state.segment.position;
  state.startsAtKeyFrame =
      (flags & GST_SEEK_FLAG_KEY_UNIT) != 0 && (flags & GST_SEEK_FLAG_ACCURATE) == 0;
  state.seekNumber = number;
  state.needsSegment = true;
  if (flushes) {
    gst_pad_push_event(state.sink, flush(gst_event_new_flush_stop(TRUE)));
    pushToAll(state, flush(gst_event_new_flush_stop(TRUE)));
  }
  gst_pad_start_task(state.sink, demuxNext, element, nullptr);
  GST_PAD_STREAM_UNLOCK(state.sink);
  return TRUE;
}

gboolean handleSourceEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_SEEK) return seekDemuxer(GST_ELEMENT(parent), event);
  if (GST_EVENT_TYPE(event) != GST_EVENT_QOS) return gst_pad_event_default(pad, parent, event);
  gst_event_unref(event);
  return TRUE;
}

gboolean answerSourceQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
  const std::int64_t duration = demuxerState(parent).duration;
  GstFormat format = GST_FORMAT_UNDEFINED;
  if (GST_QUERY_TYPE(query) == GST_QUERY_DURATION) {
    gst_query_parse_duration(query, &format, nullptr);
    if (format != GST_FORMAT_TIME || duration < 0) return FALSE;
    gst_query_set_duration(query, format, duration);
    return TRUE;
  }
  if (GST_QUERY_TYPE(query) == GST_QUERY_SEEKING) {
    gst_query_parse_seeking(query, &format, nullptr, nullptr, nullptr);
    if (format != GST_FORMAT_TIME) return FALSE;
    gst_query_set_seeking(query, format, duration >= 0, 0, duration);
    return TRUE;
  }
  return gst_pad_query_default(pad, parent, query);
}

// Opening

/// Returns the begin of the name of the pad for a stream, or null if the stream is left out.
const char* padPrefixOf(const AVStream& stream) {
  const AVMediaType type = stream.codecpar->codec_type;
  const bool isPicture = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
  if (type == AVMEDIA_TYPE_AUDIO) return "audio_";
  if (type == AVMEDIA_TYPE_VIDEO) return isPicture ? nullptr : "video_";
  return type == AVMEDIA_TYPE_SUBTITLE && libavCapsOf(stream) ? kTextPrefix : nullptr;
}

void addStreamPad(GstElement* element, AVStream& stream, const std::string& prefix, guint group) {
  DemuxerState& state = demuxerState(element);
  const bool isText = prefix == kTextPrefix;
  const std::string name = prefix + std::to_string(stream.index);
  GstPadTemplate* const padTemplate =
      gst_element_class_get_pad_template(GST_ELEMENT_GET_CLASS(element), (prefix + "%u").c_str());
  GstPad* const pad = gst_pad_new_from_template(padTemplate, name.c_str());
  gst_pad_set_event_function(pad, handleSourceEvent);
  gst_pad_set_query_function(pad, answerSourceQuery);
  gst_pad_use_fixed_caps(pad);
  gst_pad_set_active(pad, TRUE);
  const GstRef<gchar> id(
      gst_pad_create_stream_id(pad, element, std::to_string(stream.index).c_str()));
  GstEvent* const start = gst_event_new_stream_start(id.get());
  gst_event_set_group_id(start, group);
  if (isText) gst_event_set_stream_flags(start, GST_STREAM_FLAG_SPARSE);
  gst_pad_push_event(pad, start);
  gst_pad_push_event(pad, gst_event_new_caps(libavCapsOf(stream).get()));
  state.streams.push_back({.index = stream.index, .isText = isText, .pad = pad});
  gst_flow_combiner_add_pad(state.flows, pad);
  gst_element_add_pad(element, pad);
}

/// Returns false after an error message, or while the element stops.
bool openInput(GstElement* element) {
  DemuxerState& state = demuxerState(element);
  gint64 size = 0;
  if (!gst_pad_peer_query_duration(state.sink, GST_FORMAT_BYTES, &size) || size <= 0) size = 0;
  state.input = LibavInput::open({[&state](std::uint64_t offset, std::span<std::uint8_t> into) {
                                    return pullBytes(state, offset, into);
                                  },
                                  static_cast<std::uint64_t>(size)});
  if (GST_PAD_IS_FLUSHING(state.sink)) return false;
  const guint group = gst_util_group_id_next();
  if (state.input) {
    if (const auto duration = state.input->duration())
      state.duration = static_cast<std::int64_t>(*duration);
    for (AVStream* const each : state.input->streams()) {
      const char* const prefix = padPrefixOf(*each);
      each->discard = prefix ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
      if (prefix) addStreamPad(element, *each, prefix, group);
    }
  }
  gst_element_no_more_pads(element);
  if (!std::all_of(state.streams.begin(), state.streams.end(),
                   [](const DemuxedStream& each) { return each.isText; }))
    return true;
  GST_ELEMENT_ERROR(element, STREAM, TYPE_NOT_FOUND, (nullptr), ("no audio or video"));
  return false;
}

// Packets

void pushSegment(DemuxerState& state) {
  GstEvent* const event = gst_event_new_segment(&state.segment);
  if (state.seekNumber != GST_SEQNUM_INVALID) gst_event_set_seqnum(event, state.seekNumber);
  pushToAll(state, event);
  for (DemuxedStream& each : state.streams) {
    each.position = state.segment.position;
    each.isDiscontinuous = true;
  }
  state.needsSegment = false;
}

void pushStartTags(DemuxerState& state) {
  if (auto tags = containerTags(*state.input); !gst_tag_list_is_empty(tags.get()))
    pushToAll(state, gst_event_new_tag(tags.release()));
  for (const DemuxedStream& each : state.streams) {
    const AVStream& stream = *state.input->streams()[static_cast<std::size_t>(each.index)];
    if (auto own = streamTags(*state.input, stream); !gst_tag_list_is_empty(own.get()))
      gst_pad_push_event(each.pad, gst_event_new_tag(own.release()));
  }
}

void pushGaps(DemuxerState& state, GstClockTime newest) {
  for (DemuxedStream& each : state.streams) {
    if (each.position + kLargestLag >= newest) continue;
    gst_pad_push_event(each.pad, gst_event_new_gap(each.position, newest - each.position));
    each.position = newest;
  }
}

GstFlowReturn pushPacket(DemuxerState& state) {
  const AVPacket& packet = state.input->packet();
  const auto stream = std::find_if(
      state.streams.begin(), state.streams.end(),
      [&packet](const DemuxedStream& each) { return each.index == packet.stream_index; });
  if (stream == state.streams.end()) return GST_FLOW_OK;
  const LibavInput::Times times = state.input->times();
  const GstClockTime time =
      times.decoding.value_or(times.presentation.value_or(GST_CLOCK_TIME_NONE));
  if (state.needsSegment) {
    if (std::exchange(state.startsAtKeyFrame, false) && times.presentation)
      state.segment.start = state.segment.time = state.segment.position = *times.presentation;
    pushSegment(state);
  }
  GstBuffer* const buffer = bufferOfPacket(packet, times).release();
  if (!buffer) return GST_FLOW_ERROR;
  if (std::exchange(stream->isDiscontinuous, false)) {
    GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
    prependParameterSets(*buffer, *state.input->streams()[static_cast<std::size_t>(stream->index)]);
  }
  if (GST_CLOCK_TIME_IS_VALID(time)) {
    stream->position = std::max(stream->position, time + times.duration.value_or(0));
    // A text may last long.
    if (!stream->isText) {
      state.segment.position = stream->position;
      pushGaps(state, stream->position);
    }
  }
  const GstFlowReturn flow = gst_flow_combiner_update_pad_flow(state.flows, stream->pad,
                                                               gst_pad_push(stream->pad, buffer));
  const bool isOver = GST_CLOCK_TIME_IS_VALID(state.segment.stop) &&
                      GST_CLOCK_TIME_IS_VALID(time) && time >= state.segment.stop;
  return flow == GST_FLOW_OK && isOver ? GST_FLOW_EOS : flow;
}

void endStreams(GstElement* element) {
  DemuxerState& state = demuxerState(element);
  if (state.needsSegment) pushSegment(state);
  GstEvent* const end = gst_event_new_eos();
  if (state.seekNumber != GST_SEQNUM_INVALID) gst_event_set_seqnum(end, state.seekNumber);
  pushToAll(state, end);
}

/// Called repeatedly on the streaming thread.
void demuxNext(gpointer data) {
  auto* const element = GST_ELEMENT(data);
  DemuxerState& state = demuxerState(element);
  if (!state.input) {
    if (!openInput(element)) {
      gst_pad_pause_task(state.sink);
      return;
    }
    pushSegment(state);
    pushStartTags(state);
  }
  if (const auto target = std::exchange(state.seekTo, std::nullopt)) {
    gst_flow_combiner_reset(state.flows);
    state.input->seek(*target);
  }
  const LibavInput::Result result = state.input->read();
  GstFlowReturn flow = GST_FLOW_OK;
  if (result == LibavInput::Result::Packet) flow = pushPacket(state);
  if (result == LibavInput::Result::Stopped) flow = GST_FLOW_FLUSHING;
  if (result == LibavInput::Result::End) flow = GST_FLOW_EOS;
  if (flow == GST_FLOW_OK) return;
  gst_pad_pause_task(state.sink);
  if (flow == GST_FLOW_EOS) {
    endStreams(element);
  } else if (flow == GST_FLOW_NOT_LINKED || flow < GST_FLOW_EOS) {
    GST_ELEMENT_FLOW_ERROR(element, flow);
    endStreams(element);
  }
}

// The element

gboolean activateSink(GstPad* pad, GstObject*) {
  const GstRef<GstQuery> query(gst_query_new_scheduling());
  if (!gst_pad_peer_query(pad, query.get()) ||
      !gst_query_has_scheduling_mode_with_flags(query.get(), GST_PAD_MODE_PULL,
                                                GST_SCHEDULING_FLAG_SEEKABLE))
    return FALSE;
  return gst_pad_activate_mode(pad, GST_PAD_MODE_PULL, TRUE);
}

gboolean activateSinkMode(GstPad* pad, GstObject* parent, GstPadMode mode, gboolean isActive) {
  if (mode != GST_PAD_MODE_PULL) return FALSE;
  return isActive ? gst_pad_start_task(pad, demuxNext, parent, nullptr) : gst_pad_stop_task(pad);
}

void resetDemuxer(GstElement* element) {
  DemuxerState& state = demuxerState(element);
  for (const DemuxedStream& each : std::exchange(state.streams, {})) {
    gst_flow_combiner_remove_pad(state.flows, each.pad);
    gst_element_remove_pad(element, each.pad);
  }
  state.input.reset();
  gst_segment_init(&state.segment, GST_FORMAT_TIME);
  state.seekNumber = GST_SEQNUM_INVALID;
  state.seekTo.reset();
  state.needsSegment = true;
  state.duration = -1;
}

GstStateChangeReturn changeDemuxerState(GstElement* element, GstStateChange change) {
  const GstStateChangeReturn result = libavDemuxerParent->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) resetDemuxer(element);
  return result;
}

void createDemuxerState(GTypeInstance* instance, gpointer) {
  auto* const self = static_cast<LibavDemuxer*>(static_cast<gpointer>(instance));
  self->state = new DemuxerState;
  gst_segment_init(&self->state->segment, GST_FORMAT_TIME);
  GstElement* const element = &self->parent;
  GstPad* const sink = gst_pad_new_from_template(
      gst_element_class_get_pad_template(GST_ELEMENT_GET_CLASS(element), "sink"), "sink");
  gst_pad_set_activate_function(sink, activateSink);
  gst_pad_set_activatemode_function(sink, activateSinkMode);
  self->state->sink = sink;
  gst_element_add_pad(element, sink);
}

void initialiseDemuxerClass(gpointer type, gpointer) {
  libavDemuxerParent = static_cast<GstElementClass*>(g_type_class_peek_parent(type));
  G_OBJECT_CLASS(type)->finalize = [](GObject* object) {
    DemuxerState* const state = static_cast<LibavDemuxer*>(static_cast<gpointer>(object))->state;
    gst_flow_combiner_free(state->flows);
    delete state;
    G_OBJECT_CLASS(libavDemuxerParent)->finalize(object);
  };
  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  element->change_state = changeDemuxerState;
  const GstRef<GstCaps> input(gst_caps_from_string(libavInputTypes()));
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, input.get()));
  for (const char* const name : {"video_%u", "audio_%u", "subtitle_%u"})
    gst_element_class_add_pad_template(
        element, gst_pad_template_new(name, GST_PAD_SRC, GST_PAD_SOMETIMES, GST_CAPS_ANY));
  gst_element_class_set_static_metadata(element, "Demuxer of libavformat", "Codec/Demuxer",
                                        "Demuxes files with libavformat", "TVVorlane");
}

}  // namespace

void registerLibavDemuxer() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_ELEMENT, "VorlaneLibavDemuxer", sizeof(LibavDemuxerClass), initialiseDemuxerClass,
      sizeof(LibavDemuxer), createDemuxerState, static_cast<GTypeFlags>(0));
  gst_element_register(nullptr, "vorlanelibavdemux", GST_RANK_PRIMARY + 1, type);
  registerLibavTypes();
  registerLibavDecoders();
}

}  // namespace media
