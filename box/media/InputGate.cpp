#include "box/media/InputGate.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "box/media/GstRef.h"

namespace box {
namespace {

struct Input {
  explicit Input(GstPad* thePad) : identity(thePad) { g_weak_ref_init(&pad, thePad); }
  ~Input() { g_weak_ref_clear(&pad); }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  const void* const identity;
  GWeakRef pad;
  gulong probe = 0;
  bool begun = false;    // its first buffer has come
  bool passed = false;   // and gone all the way, or there is none
  bool waiting = false;  // its end of stream is held
};

/// A pad that waits no longer, and what holds it.
struct Release {
  GstRef<GstPad> pad;
  gulong probe;
};

void release(const std::vector<Release>& waiting) {
  for (const Release& each : waiting) gst_pad_remove_probe(each.pad.get(), each.probe);
}

class Gate {
 public:
  std::shared_ptr<Input> add(GstPad* pad) {
    const std::lock_guard lock(_mutex);
    return _inputs.emplace_back(std::make_shared<Input>(pad));
  }
  void remove(GstPad* pad) {
    std::vector<Release> released;
    {
      const std::lock_guard lock(_mutex);
      std::erase_if(_inputs, [&](const auto& input) { return input->identity == pad; });
      released = _takeReleased();
    }
    release(released);
  }
  void setProbe(Input& input, gulong probe) {
    const std::lock_guard lock(_mutex);
    input.probe = probe;
  }

  GstPadProbeReturn handle(Input& input, const GstPadProbeInfo& info) {
    const bool isBuffer = info.type & (GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST);
    const bool isEnd =
        !isBuffer && GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(&info)) == GST_EVENT_EOS;
    std::vector<Release> released;
    bool open = false;
    bool passed = false;
    {
      const std::lock_guard lock(_mutex);
      input.passed = input.passed || input.begun || isEnd;
      input.begun = input.begun || isBuffer;
      input.waiting = false;
      released = _takeReleased();
      open = _othersHavePassed(input);
      passed = input.passed;
      input.waiting = isEnd && !open;
    }
    release(released);
    if (isEnd && !open) return GST_PAD_PROBE_OK;  // blocks
    return open && passed ? GST_PAD_PROBE_REMOVE : GST_PAD_PROBE_PASS;
  }

 private:
  bool _othersHavePassed(const Input& input) const {
    return std::all_of(_inputs.begin(), _inputs.end(),
                       [&](const auto& other) { return other.get() == &input || other->passed; });
  }
  std::vector<Release> _takeReleased() {
    std::vector<Release> released;
    for (const auto& each : _inputs) {
      if (!each->waiting || !_othersHavePassed(*each)) continue;
      each->waiting = false;
      if (auto* const pad = static_cast<GstPad*>(g_weak_ref_get(&each->pad)))
        released.push_back({GstRef<GstPad>(pad), each->probe});
    }
    return released;
  }

  std::mutex _mutex;
  std::vector<std::shared_ptr<Input>> _inputs;
};

using GatePointer = std::shared_ptr<Gate>;

struct Watch {
  GatePointer gate;
  std::shared_ptr<Input> input;
};

GstPadProbeReturn onItem(GstPad*, GstPadProbeInfo* info, gpointer data) {
  const auto* const watch = static_cast<Watch*>(data);
  return watch->gate->handle(*watch->input, *info);
}

void watchPad(GstPad* pad, const GatePointer& gate) {
  if (!GST_PAD_IS_SINK(pad)) return;
  auto* const watch = new Watch{gate, gate->add(pad)};
  const auto input = watch->input;
  const gulong probe = gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BLOCK_DOWNSTREAM, onItem, watch,
                                         [](gpointer data) { delete static_cast<Watch*>(data); });
  gate->setProbe(*input, probe);
}

void onPadAdded(GstElement*, GstPad* pad, gpointer gate) {
  watchPad(pad, *static_cast<GatePointer*>(gate));
}

void onPadRemoved(GstElement*, GstPad* pad, gpointer gate) {
  (*static_cast<GatePointer*>(gate))->remove(pad);
}

void gateIfDecodebin(GstElement* element) {
  if (isMadeBy(element, "decodebin3")) gateInputsOf(element);
}

void onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer) { gateIfDecodebin(element); }

}  // namespace

void gateInputsOf(GstElement* element) {
  const auto gate = std::make_shared<Gate>();
  // With the signals lives the gate.
  const auto connect = [&](const char* signal, GCallback handler) {
    g_signal_connect_data(
        element, signal, handler, new GatePointer(gate),
        [](gpointer data, GClosure*) { delete static_cast<GatePointer*>(data); }, GConnectFlags(0));
  };
  connect("pad-added", G_CALLBACK(onPadAdded));
  connect("pad-removed", G_CALLBACK(onPadRemoved));
  gst_element_foreach_sink_pad(
      element,
      [](GstElement*, GstPad* pad, gpointer data) -> gboolean {
        watchPad(pad, *static_cast<const GatePointer*>(data));
        return TRUE;
      },
      const_cast<GatePointer*>(&gate));
}

void gateInputsOfDecodebin(GstElement* playbin) {
  // Whether it is made with the playbin or when that starts is the library's choice.
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(onElementAdded), nullptr);
  GstIterator* const elements = gst_bin_iterate_recurse(GST_BIN(playbin));
  gst_iterator_foreach(
      elements,
      [](const GValue* element, gpointer) {
        gateIfDecodebin(GST_ELEMENT(g_value_get_object(element)));
      },
      nullptr);
  gst_iterator_free(elements);
}

}  // namespace box
