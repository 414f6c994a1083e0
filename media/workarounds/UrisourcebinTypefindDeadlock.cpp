#include "media/workarounds/UrisourcebinTypefindDeadlock.h"

#include <condition_variable>
#include <mutex>

#include "media/support/GstRef.h"

namespace media {
namespace {

constexpr char kGateKey[] = "vorlane-typefind-gate";

/// The emissions of "have-type" of all sources of a playbin. Belongs to the playbin, which is not
/// finalised before the threads of its elements have ended.
class TypefindGate {
 public:
  bool enter() {
    const std::lock_guard lock(_mutex);
    if (!_isClosed) ++_entered;
    return !_isClosed;
  }

  void leave() {
    const std::lock_guard lock(_mutex);
    if (--_entered == 0) _isEmpty.notify_all();
  }

  void close() {
    std::unique_lock lock(_mutex);
    _isClosed = true;
    _isEmpty.wait(lock, [this] { return _entered == 0; });
  }

  void open() {
    const std::lock_guard lock(_mutex);
    _isClosed = false;
  }

 private:
  std::mutex _mutex;
  std::condition_variable _isEmpty;
  int _entered = 0;
  bool _isClosed = false;
};

void enterGate(GstElement* typefind, guint, GstCaps*, gpointer gate) {
  if (!static_cast<TypefindGate*>(gate)->enter())
    g_signal_stop_emission_by_name(typefind, "have-type");
}

void leaveGate(GstElement*, guint, GstCaps*, gpointer gate) {
  static_cast<TypefindGate*>(gate)->leave();
}

/// urisourcebin connects its own handler after it has added the element.
void watchTypefind(GstBin*, GstBin* parent, GstElement* element, gpointer gate) {
  if (!isMadeBy(element, "typefind") || !isMadeBy(GST_ELEMENT(parent), "urisourcebin")) return;
  g_signal_connect(element, "have-type", G_CALLBACK(enterGate), gate);
  g_signal_connect_after(element, "have-type", G_CALLBACK(leaveGate), gate);
}

}  // namespace

void installUrisourcebinTypefindDeadlock(GstElement* playbin) {
  auto* const gate = new TypefindGate;
  g_object_set_data_full(G_OBJECT(playbin), kGateKey, gate,
                         [](gpointer data) { delete static_cast<TypefindGate*>(data); });
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(watchTypefind), gate);
}

void stopUrisourcebin(GstElement* playbin) {
  auto* const gate = static_cast<TypefindGate*>(g_object_get_data(G_OBJECT(playbin), kGateKey));
  if (gate) gate->close();
  gst_element_set_state(playbin, GST_STATE_NULL);
  if (gate) gate->open();
}

}  // namespace media
