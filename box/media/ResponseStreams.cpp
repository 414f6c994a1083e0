#include "box/media/ResponseStreams.h"

#include <atomic>
#include <mutex>

#include <libsoup/soup.h>

namespace box {
namespace {

using Close = gboolean (*)(GInputStream*, GCancellable*, GError**);

std::atomic<Close> libraryClose = nullptr;

GQuark finishedMark() {
  static const GQuark mark = g_quark_from_static_string("vorlane-finished");
  return mark;
}

gboolean closeUnlessFinished(GInputStream* stream, GCancellable* cancellable, GError** error) {
  GObject* message = nullptr;
  g_object_get(stream, "message", &message, nullptr);
  const bool isFinished = message && g_object_get_qdata(message, finishedMark());
  if (message) g_object_unref(message);
  return isFinished || libraryClose.load()(stream, cancellable, error);
}

/// The class is there only once there has been a body.
void mendClass() {
  const GType type = g_type_from_name("SoupClientInputStream");
  if (type == 0) return;
  static std::once_flag once;
  std::call_once(once, [type] {
    // Kept for good, as the type is.
    auto* const streams = static_cast<GInputStreamClass*>(g_type_class_ref(type));
    if (!g_object_class_find_property(G_OBJECT_CLASS(streams), "message")) return;
    libraryClose = streams->close_fn;
    streams->close_fn = closeUnlessFinished;
  });
}

gboolean noteState(GSignalInvocationHint*, guint, const GValue* parameters, gpointer finished) {
  // Before a body is given up for good; one that is merely read to its end is closed before.
  if (finished) mendClass();
  auto* const message = static_cast<GObject*>(g_value_get_object(parameters));
  g_object_set_qdata(message, finishedMark(), finished);
  return TRUE;
}

}  // namespace

void mendResponseStreams() {
  // Signals are there once the class is, which stays.
  g_type_class_ref(SOUP_TYPE_MESSAGE);
  // A message may be sent again.
  const struct {
    const char* signal;
    bool finished;
  } states[] = {{"starting", false}, {"finished", true}};
  for (const auto& state : states)
    if (const guint signal = g_signal_lookup(state.signal, SOUP_TYPE_MESSAGE))
      g_signal_add_emission_hook(signal, 0, noteState, GINT_TO_POINTER(state.finished ? 1 : 0),
                                 nullptr);
}

}  // namespace box
