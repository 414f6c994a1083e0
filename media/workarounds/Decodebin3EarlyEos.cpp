#include "media/workarounds/Decodebin3EarlyEos.h"

#include <algorithm>
#include <memory>
#include <mutex>
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
  gulong probe = 0;
  bool begun = false;    // the first buffer has arrived
  bool passed = false;   // the first buffer has gone through, or there is none
  bool waiting = false;  // the EOS event is blocked
};

/// A pad whose wait is over, and the probe that blocks it.
struct BlockedPad {
  GstRef<GstPad> pad;
  gulong probe;
};

void unblock(const std::vector<BlockedPad>& waiting) {
  for (const BlockedPad& each : waiting) gst_pad_remove_probe(each.pad.get(), each.probe);
}

class EosGate {
 public:
  std::shared_ptr<GateInput> add(GstPad* pad) {
    const std::lock_guard lock(_mutex);
    return _inputs.emplace_back(std::make_shared<GateInput>(pad));
  }
  void remove(GstPad* pad) {
    std::vector<BlockedPad> released;
    {
      const std::lock_guard lock(_mutex);
      std::erase_if(_inputs, [&](const auto& input) { return input->identity == pad; });
      released = _takeReleased();
    }
    unblock(released);
  }
  void setProbe(GateInput& input, gulong probe) {
    const std::lock_guard lock(_mutex);
    input.probe = probe;
  }

  GstPadProbeReturn handle(GateInput& input, const GstPadProbeInfo& info) {
    const bool isBuffer = info.type & (GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST);
    // A parser within decodebin3 pulls from the pad. The probe then has no event, and no EOS
    // passes.
    const bool isPulled = info.type & GST_PAD_PROBE_TYPE_PULL;
    const bool isEnd =
        !isBuffer && !isPulled && GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(&info)) == GST_EVENT_EOS;
    std::vector<BlockedPad> released;
    bool open = false;
    bool passed = false;
    {
      const std::lock_guard lock(_mutex);
      input.passed = input.passed || input.begun || isEnd || isPulled;
      input.begun = input.begun || isBuffer;
      input.waiting = false;
      released = _takeReleased();
      open = _othersHavePassed(input);
      passed = input.passed;
      input.waiting = isEnd && !open;
    }
    unblock(released);
    if (isEnd && !open) return GST_PAD_PROBE_OK;  // blocks
    return open && passed ? GST_PAD_PROBE_REMOVE : GST_PAD_PROBE_PASS;
  }

 private:
  bool _othersHavePassed(const GateInput& input) const {
    return std::all_of(_inputs.begin(), _inputs.end(), [&](const auto& other) {
      return other.get() == &input || other->passed || other->isUnused();
    });
  }
  std::vector<BlockedPad> _takeReleased() {
    std::vector<BlockedPad> released;
    for (const auto& each : _inputs) {
      if (!each->waiting || !_othersHavePassed(*each)) continue;
      each->waiting = false;
      if (auto* const pad = static_cast<GstPad*>(g_weak_ref_get(&each->pad)))
        released.push_back({GstRef<GstPad>(pad), each->probe});
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
  auto* const watch = new GateWatch{gate, gate->add(pad)};
  const auto input = watch->input;
  const gulong probe =
      gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BLOCK_DOWNSTREAM, handleItem, watch,
                        [](gpointer data) { delete static_cast<GateWatch*>(data); });
  gate->setProbe(*input, probe);
}

void gateAddedPad(GstElement*, GstPad* pad, gpointer gate) {
  gatePad(pad, *static_cast<GatePointer*>(gate));
}

void forgetRemovedPad(GstElement*, GstPad* pad, gpointer gate) {
  (*static_cast<GatePointer*>(gate))->remove(pad);
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
