#include "box/media/SourceSessions.h"

#include <atomic>

#include <gst/gst.h>

namespace box {
namespace {

std::atomic<void (*)(GObject*)> libraryEnd = nullptr;

void endWhole(GObject* session) {
  libraryEnd.load()(session);
  G_OBJECT_CLASS(g_type_class_peek(G_TYPE_OBJECT))->finalize(session);
}

/// Tried with one that has nothing to end: what is attached to an object goes with the last step.
bool endsWhole(GType type) {
  bool ended = false;
  auto* const session = static_cast<GObject*>(g_object_new(type, nullptr));
  g_object_set_data_full(session, "vorlane-end", &ended,
                         [](gpointer data) { *static_cast<bool*>(data) = true; });
  g_object_unref(session);
  return ended;
}

}  // namespace

void mendSourceSessions() {
  static std::atomic<bool> tried = false;
  const GType type = g_type_from_name("GstSoupSession");
  if (type == 0 || g_type_parent(type) != G_TYPE_OBJECT || tried.exchange(true)) return;
  if (endsWhole(type)) return;
  // Kept for good, as the type is.
  auto* const sessions = static_cast<GObjectClass*>(g_type_class_ref(type));
  libraryEnd = sessions->finalize;
  sessions->finalize = endWhole;
}

}  // namespace box
