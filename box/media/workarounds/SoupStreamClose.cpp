#include "box/media/workarounds/SoupStreamClose.h"

#include <atomic>
#include <mutex>

#include <libsoup/soup.h>

namespace box {
namespace {

using Close = gboolean (*)(GInputStream*, GCancellable*, GError**);

std::atomic<Close> originalStreamClose = nullptr;

GQuark finishedMark() {
  static const GQuark mark = g_quark_from_static_string("vorlane-finished");
  return mark;
}

gboolean closeUnlessFinished(GInputStream* stream, GCancellable* cancellable, GError** error) {
  GObject* message = nullptr;
  g_object_get(stream, "message", &message, nullptr);
  const bool isFinished = message && g_object_get_qdata(message, finishedMark());
  if (message) g_object_unref(message);
  return isFinished || originalStreamClose.load()(stream, cancellable, error);
}

/// The first body registers the class.
void patchStreamClass() {
  const GType type = g_type_from_name("SoupClientInputStream");
  if (type == 0) return;
  static std::once_flag once;
  std::call_once(once, [type] {
    // The class must stay.
    auto* const streams = static_cast<GInputStreamClass*>(g_type_class_ref(type));
    if (!g_object_class_find_property(G_OBJECT_CLASS(streams), "message")) return;
    originalStreamClose = streams->close_fn;
    streams->close_fn = closeUnlessFinished;
  });
}

gboolean noteMessageState(GSignalInvocationHint*, guint, const GValue* parameters,
                          gpointer finished) {
  // A body that is read to its end is closed before its message is finished.
  if (finished) patchStreamClass();
  auto* const message = static_cast<GObject*>(g_value_get_object(parameters));
  g_object_set_qdata(message, finishedMark(), finished);
  return TRUE;
}

}  // namespace

void installSoupStreamClose() {
  // The signals exist once the class does, so the class is kept.
  g_type_class_ref(SOUP_TYPE_MESSAGE);
  // A message can be sent again after it has finished.
  const struct {
    const char* signal;
    bool finished;
  } states[] = {{"starting", false}, {"finished", true}};
  for (const auto& state : states)
    if (const guint signal = g_signal_lookup(state.signal, SOUP_TYPE_MESSAGE))
      g_signal_add_emission_hook(signal, 0, noteMessageState,
                                 GINT_TO_POINTER(state.finished ? 1 : 0), nullptr);
}

}  // namespace box
