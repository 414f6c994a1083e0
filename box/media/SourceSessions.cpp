#include "box/media/SourceSessions.h"

#include <atomic>

#include <gst/gst.h>

namespace box {
namespace {

std::atomic<void (*)(GObject*)> libraryEnd = nullptr;

/// What is attached to an object goes with the last step.
void endWhole(GObject* session) {
  bool ended = false;
  g_object_set_data_full(session, "vorlane-end", &ended,
                         [](gpointer data) { *static_cast<bool*>(data) = true; });
  libraryEnd.load()(session);
  if (!ended) G_OBJECT_CLASS(g_type_class_peek(G_TYPE_OBJECT))->finalize(session);
}

}  // namespace

void mendSourceSessions() {
  static std::atomic<bool> tried = false;
  const GType type = g_type_from_name("GstSoupSession");
  if (type == 0 || g_type_parent(type) != G_TYPE_OBJECT || tried.exchange(true)) return;
  // Kept for good, as the type is.
  auto* const sessions = static_cast<GObjectClass*>(g_type_class_ref(type));
  libraryEnd = sessions->finalize;
  sessions->finalize = endWhole;
}

}  // namespace box
