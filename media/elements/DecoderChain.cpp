#include "media/elements/DecoderChain.h"

#include <cstring>
#include <utility>

#include "media/elements/DecoderChoice.h"

namespace media {
namespace {

/// Returns whether elements chosen for `old` probably accept `caps`.
bool isSameCodec(const GstCaps* old, const GstCaps* caps) {
  const GstStructure* const before = gst_caps_get_structure(old, 0);
  const GstStructure* const now = gst_caps_get_structure(caps, 0);
  if (std::strcmp(gst_structure_get_name(before), gst_structure_get_name(now)) != 0) return false;
  for (const char* field : {"mpegversion", "layer", "format"}) {
    const GValue* const one = gst_structure_get_value(before, field);
    const GValue* const other = gst_structure_get_value(now, field);
    if (!one != !other) return false;
    if (one && gst_value_compare(one, other) != GST_VALUE_EQUAL) return false;
  }
  return true;
}

GstPadProbeReturn dropEnd(GstPad*, GstPadProbeInfo* info, gpointer) {
  return GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS ? GST_PAD_PROBE_DROP
                                                                         : GST_PAD_PROBE_OK;
}

}  // namespace

DecoderChain::DecoderChain(GstBin* bin, ElementaryKind kind, GstPad* source, GstPad* tail)
    : _bin(bin), _kind(kind), _source(source), _tail(tail) {}

DecoderChain::Result DecoderChain::use(GstCaps* caps, GstBuffer* first, const PlayRange& range) {
  if (_caps && isSameCodec(_caps.get(), caps) && gst_pad_peer_query_accept_caps(_source, caps)) {
    _caps.reset(gst_caps_ref(caps));
    return Result::Ready;
  }
  auto choice = chooseDecoder(_kind, caps, first);
  if (!choice) return Result::NoDecoder;
  if (_caps) _drain();
  if (range.isCancelled()) {
    if (choice->decoder) gst_element_set_state(choice->decoder.get(), GST_STATE_NULL);
    return Result::Cancelled;
  }
  GstElement* const oldParser = std::exchange(_parser, choice->parser.get());
  GstElement* const oldDecoder = std::exchange(_decoder, choice->decoder.get());
  _caps.reset(gst_caps_ref(caps));
  GstRef<GstPad> head(GST_PAD(gst_object_ref(_tail)));
  GstRef<GstPad> end(GST_PAD(gst_object_ref(_source)));
  for (GstElement* each : {_decoder, _parser}) {
    if (!each) continue;
    gst_bin_add(_bin, each);
    head.reset(gst_element_get_static_pad(each, "sink"));
    if (each == _decoder || !_decoder) end.reset(gst_element_get_static_pad(each, "src"));
  }
  if (_parser && _decoder) gst_element_link(_parser, _decoder);
  for (GstElement* each : {_decoder, _parser})
    if (each) gst_element_sync_state_with_parent(each);
  _link(head.get(), end.get());
  _remove(oldParser);
  _remove(oldDecoder);
  return range.isCancelled() ? Result::Cancelled : Result::Ready;
}

GstRef<GstCaps> DecoderChain::bypass() {
  _caps.reset();
  GstElement* const oldParser = std::exchange(_parser, nullptr);
  GstElement* const oldDecoder = std::exchange(_decoder, nullptr);
  _link(_tail, _source);
  _remove(oldParser);
  _remove(oldDecoder);
  // Audio sinks need caps to produce silence.
  if (_kind == ElementaryKind::Video) return {};
  return GstRef<GstCaps>(gst_caps_from_string(
      "audio/x-raw, format=(string)S16LE, layout=(string)interleaved, rate=(int)48000, "
      "channels=(int)2, channel-mask=(bitmask)0x3"));
}

void DecoderChain::flush(GstEvent* event) {
  const std::lock_guard lock(_linking);
  gst_pad_push_event(_source, event);
}

void DecoderChain::_drain() {
  const GstRef<GstPad> head(gst_pad_get_peer(_source));
  const GstRef<GstPad> end(gst_pad_get_peer(_tail));
  if (!head || !end || head.get() == _tail) return;
  gst_pad_add_probe(end.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, dropEnd, nullptr, nullptr);
  // Pushing through the source pad would leave that pad in the EOS state.
  gst_pad_send_event(head.get(), gst_event_new_eos());
}

void DecoderChain::_link(GstPad* head, GstPad* end) {
  const std::lock_guard lock(_linking);
  if (const GstRef<GstPad> old{gst_pad_get_peer(_source)}) gst_pad_unlink(_source, old.get());
  if (const GstRef<GstPad> old{gst_pad_get_peer(_tail)}) gst_pad_unlink(old.get(), _tail);
  gst_pad_link_full(_source, head, GST_PAD_LINK_CHECK_NOTHING);
  if (end != _source) gst_pad_link_full(end, _tail, GST_PAD_LINK_CHECK_NOTHING);
}

void DecoderChain::_remove(GstElement* element) {
  if (!element) return;
  const GstRef<GstElement> kept(GST_ELEMENT(gst_object_ref(element)));
  gst_element_set_locked_state(element, TRUE);
  gst_element_set_state(element, GST_STATE_NULL);
  gst_bin_remove(_bin, element);
}

}  // namespace media
