#include "receivers/upnp/device/EventRequests.h"

#include <string_view>
#include <utility>

namespace upnp {

namespace {

constexpr guint kEventTimeoutSeconds = 3;
constexpr int kMaximumPending = 512;
constexpr int kPendingToContinue = 256;

/// Null if the request is no event. The values are those of the signals: the session, the message.
SoupMessage* eventOf(const GValue* values) {
  auto* const message = SOUP_MESSAGE(g_value_get_object(&values[1]));
  return std::string_view(soup_message_get_method(message)) == "NOTIFY" ? message : nullptr;
}

}  // namespace

/// GUPnP gives no access to the session of a service, so each event is limited when it is queued.
EventRequests::EventRequests(std::function<void()> changed) : _changed(std::move(changed)) {
  g_type_class_unref(g_type_class_ref(SOUP_TYPE_SESSION));
  _queuedSignal = g_signal_lookup("request-queued", SOUP_TYPE_SESSION);
  _unqueuedSignal = g_signal_lookup("request-unqueued", SOUP_TYPE_SESSION);
  _queuedHook = g_signal_add_emission_hook(_queuedSignal, 0, _queued, this, nullptr);
  _unqueuedHook = g_signal_add_emission_hook(_unqueuedSignal, 0, _unqueued, this, nullptr);
}

EventRequests::~EventRequests() {
  g_signal_remove_emission_hook(_queuedSignal, _queuedHook);
  g_signal_remove_emission_hook(_unqueuedSignal, _unqueuedHook);
}

void EventRequests::_count(int change) {
  _pending += change;
  const bool isFull = _pending >= (_isFull ? kPendingToContinue : kMaximumPending);
  if (isFull == _isFull) return;
  _isFull = isFull;
  _changed();
}

gboolean EventRequests::_queued(GSignalInvocationHint*, guint, const GValue* values,
                                gpointer data) {
  SoupMessage* const event = eventOf(values);
  if (!event) return TRUE;
  auto* const session = SOUP_SESSION(g_value_get_object(&values[0]));
  if (soup_session_get_timeout(session) != kEventTimeoutSeconds) {
    soup_session_set_timeout(session, kEventTimeoutSeconds);
  }
  soup_message_add_flags(event, SOUP_MESSAGE_NO_REDIRECT);
  static_cast<EventRequests*>(data)->_count(1);
  return TRUE;
}

gboolean EventRequests::_unqueued(GSignalInvocationHint*, guint, const GValue* values,
                                  gpointer data) {
  if (eventOf(values)) static_cast<EventRequests*>(data)->_count(-1);
  return TRUE;
}

}  // namespace upnp
