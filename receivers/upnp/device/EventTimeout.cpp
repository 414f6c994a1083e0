#include "receivers/upnp/device/EventTimeout.h"

#include <libsoup/soup.h>

namespace upnp {

namespace {

constexpr guint kEventTimeoutSeconds = 3;

gboolean limitSession(GSignalInvocationHint*, guint, const GValue* values, gpointer) {
  auto* const session = SOUP_SESSION(g_value_get_object(values));
  if (soup_session_get_timeout(session) != kEventTimeoutSeconds) {
    soup_session_set_timeout(session, kEventTimeoutSeconds);
  }
  return TRUE;
}

/// GUPnP gives no access to the session of a service, so each session is limited at its first
/// request.
gulong addHook() {
  g_type_class_unref(g_type_class_ref(SOUP_TYPE_SESSION));
  return g_signal_add_emission_hook(g_signal_lookup("request-queued", SOUP_TYPE_SESSION), 0,
                                    limitSession, nullptr, nullptr);
}

}  // namespace

void limitEventTime() {
  static const gulong hook = addHook();
  static_cast<void>(hook);
}

}  // namespace upnp
