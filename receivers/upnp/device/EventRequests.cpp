#include "receivers/upnp/device/EventRequests.h"

#include <string_view>

#include <libsoup/soup.h>

namespace upnp {

namespace {

constexpr guint kEventTimeoutSeconds = 3;

/// The values are the session and the message.
gboolean limitRequest(GSignalInvocationHint*, guint, const GValue* values, gpointer) {
  auto* const message = SOUP_MESSAGE(g_value_get_object(&values[1]));
  if (std::string_view(soup_message_get_method(message)) != "NOTIFY") return TRUE;
  auto* const session = SOUP_SESSION(g_value_get_object(&values[0]));
  if (soup_session_get_timeout(session) != kEventTimeoutSeconds) {
    soup_session_set_timeout(session, kEventTimeoutSeconds);
  }
  soup_message_add_flags(message, SOUP_MESSAGE_NO_REDIRECT);
  return TRUE;
}

/// GUPnP gives no access to the session of a service, so each event is limited when it is queued.
gulong addHook() {
  g_type_class_unref(g_type_class_ref(SOUP_TYPE_SESSION));
  return g_signal_add_emission_hook(g_signal_lookup("request-queued", SOUP_TYPE_SESSION), 0,
                                    limitRequest, nullptr, nullptr);
}

}  // namespace

void limitEventRequests() {
  static const gulong hook = addHook();
  static_cast<void>(hook);
}

}  // namespace upnp
