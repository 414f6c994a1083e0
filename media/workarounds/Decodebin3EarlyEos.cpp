#include "media/workarounds/Decodebin3EarlyEos.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "media/support/GstRef.h"

namespace media {
namespace {

struct GateInput {
  explicit GateInput(GstPad* thePad) : identity(thePad) { g_weak_ref_init(&pad, thePad); }
  ~GateInput() { g_weak_ref_clear(&pad); }
  GateInput(const GateInput&) = delete;
  GateInput& operator=(const GateInput&) = delete;

  /// decodebin3 has one input from the start, and 1.22 keeps the inputs that are released while it
  /// has no streams.
  bool isUnused() {
    const GstRef<GstPad> strong(static_cast<GstPad*>(g_weak_ref_get(&pad)));
    return strong && !gst_pad_is_linked(strong.get());
  }

  const void* const identity;
  GWeakRef pad;
  bool begun = false;   // the first buffer has arrived
  bool passed = false;  // the first buffer has gone through, or there is none
  unsigned flushes = 0;
  GstRef<GstEvent> end;  // EOS that is held
};

/// Data of a held event: the number of flushes before it.
GQuark flushesOfEvent() { return g_quark_from_static_string("vorlane-flushes"); }

bool isStale(GstEvent* event, const GateInput& input) {
  const auto flushes =
      GPOINTER_TO_UINT(gst_mini_object_get_qdata(GST_MINI_OBJECT_CAST(event), flushesOfEvent()));
  return flushes != 0 && flushes != input.flushes + 1;
}

/// An EOS event that is not held any longer.
struct ReleasedEnd {
  GstRef<GstPad> pad;
  GstRef<GstEvent> event;
};
using ReleasedEnds = std::vector<ReleasedEnd>;

void sendEnds(ReleasedEnds& released) {
  for (ReleasedEnd& each : released) gst_pad_send_event(each.pad.get(), each.event.release());
}

class EosGate {
 public:
  std::shared_ptr<GateInput> add(GstPad* pad) {
    const std::lock_guard lock(_mutex);
    return _inputs.emplace_back(std::make_shared<GateInput>(pad));
  }
  ReleasedEnds remove(GstPad* pad) {
    const std::lock_guard lock(_mutex);
    std::erase_if(_inputs, [&](const auto& input) { return input->identity == pad; });
    return _takeReleased();
  }

  GstPadProbeReturn handle(GateInput& input, const GstPadProbeInfo& info) {
    // A parser within decodebin3 pulls from the pad. The probe then has no event, and no EOS
    // passes.
    const bool isPulled = info.type & GST_PAD_PROBE_TYPE_PULL;
    const bool isBuffer = info.type & (GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST);
    GstEvent* const event = isBuffer || isPulled ? nullptr : GST_PAD_PROBE_INFO_EVENT(&info);
    const GstEventType type = event ? GST_EVENT_TYPE(event) : GST_EVENT_UNKNOWN;
    ReleasedEnds released;
    GstPadProbeReturn result = GST_PAD_PROBE_OK;
    {
      const std::lock_guard lock(_mutex);
      if (type == GST_EVENT_FLUSH_STOP || type == GST_EVENT_STREAM_START) {
        input.end.reset();
        ++input.flushes;
      }
      if ((info.type & GST_PAD_PROBE_TYPE_EVENT_FLUSH) != 0) return GST_PAD_PROBE_OK;
      const bool isEnd = type == GST_EVENT_EOS;
      // It was released, and the stream has begun again meanwhile.
      if (isEnd && isStale(event, input)) return GST_PAD_PROBE_DROP;
      input.passed = input.passed || input.begun || isEnd || isPulled;
      input.begun = input.begun || isBuffer;
      released = _takeReleased();
      const bool open = _othersHavePassed(input);
      if (isEnd && !open) {
        input.end.reset(gst_event_ref(event));
        gst_mini_object_set_qdata(GST_MINI_OBJECT_CAST(event), flushesOfEvent(),
                                  GUINT_TO_POINTER(input.flushes + 1), nullptr);
        result = GST_PAD_PROBE_DROP;
      } else if (open && input.passed) {
        result = GST_PAD_PROBE_REMOVE;
      }
    }
    sendEnds(released);
    return result;
  }

 private:
  bool _othersHavePassed(const GateInput& input) const {
    return std::all_of(_inputs.begin(), _inputs.end(), [&](const auto& other) {
      return other.get() == &input || other->passed || other->isUnused();
    });
  }
  ReleasedEnds _takeReleased() {
    ReleasedEnds released;
    for (const auto& each : _inputs) {
      if (!each->end || !_othersHavePassed(*each)) continue;
      GstRef<GstEvent> end = std::move(each->end);
      if (auto* const pad = static_cast<GstPad*>(g_weak_ref_get(&each->pad)))
        released.push_back({GstRef<GstPad>(pad), std::move(end)});
    }
    return released;
  }

  std::mutex _mutex;
  std::vector<std::shared_ptr<GateInput>> _inputs;
};

using GatePointer = std::shared_ptr<EosGate>;

struct GateWatch {
  GatePointer gate;
  std::shared_ptr<GateInput> input;
};

GstPadProbeReturn handleItem(GstPad*, GstPadProbeInfo* info, gpointer data) {
  const auto* const watch = static_cast<GateWatch*>(data);
  return watch->gate->handle(*watch->input, *info);
}

void gatePad(GstPad* pad, const GatePointer& gate) {
  if (!GST_PAD_IS_SINK(pad)) return;
  gst_pad_add_probe(pad,
                    static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_DATA_DOWNSTREAM |
                                                 GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                    handleItem, new GateWatch{gate, gate->add(pad)},
                    [](gpointer data) { delete static_cast<GateWatch*>(data); });
}

void gateAddedPad(GstElement*, GstPad* pad, gpointer gate) {
  gatePad(pad, *static_cast<GatePointer*>(gate));
}

/// Sends events on another thread: this one may hold locks of the element.
void forgetRemovedPad(GstElement* element, GstPad* pad, gpointer gate) {
  auto released = (*static_cast<GatePointer*>(gate))->remove(pad);
  if (released.empty()) return;
  gst_element_call_async(
      element, [](GstElement*, gpointer ends) { sendEnds(*static_cast<ReleasedEnds*>(ends)); },
      new ReleasedEnds(std::move(released)),
      [](gpointer ends) { delete static_cast<ReleasedEnds*>(ends); });
}

}  // namespace

void holdEarlyEos(GstElement* element) {
  const auto gate = std::make_shared<EosGate>();
  // The handlers own the gate.
  const auto connect = [&](const char* signal, GCallback handler) {
    g_signal_connect_data(
        element, signal, handler, new GatePointer(gate),
        [](gpointer data, GClosure*) { delete static_cast<GatePointer*>(data); }, GConnectFlags(0));
  };
  connect("pad-added", G_CALLBACK(gateAddedPad));
  connect("pad-removed", G_CALLBACK(forgetRemovedPad));
  gst_element_foreach_sink_pad(
      element,
      [](GstElement*, GstPad* pad, gpointer data) -> gboolean {
        gatePad(pad, *static_cast<const GatePointer*>(data));
        return TRUE;
      },
      const_cast<GatePointer*>(&gate));
}

void installDecodebin3EarlyEos(GstElement* pipeline) {
  GstIterator* const elements = gst_bin_iterate_elements(GST_BIN(pipeline));
  gst_iterator_foreach(
      elements,
      [](const GValue* value, gpointer) {
        auto* const element = GST_ELEMENT(g_value_get_object(value));
        if (isFromFactory(element, "decodebin3")) holdEarlyEos(element);
      },
      nullptr);
  gst_iterator_free(elements);
}

}  // namespace media
