#pragma once

#include <functional>

#include <libsoup/soup.h>

namespace upnp {

/// Limits the requests that deliver events to subscribers, in all HTTP sessions of the process.
///
/// - The time until the answer: GUPnP sends the events to a host one after the other, so a
///   controller that does not answer would get no further ones.
/// - Redirections are not followed: a subscriber could make the renderer request any URL.
/// - The number of requests that wait. GUPnP queues them without a limit, so no more events are to
///   be made while there are too many.
class EventRequests {
 public:
  /// `changed` is called when the result of isFull() has changed.
  explicit EventRequests(std::function<void()> changed);
  EventRequests(const EventRequests&) = delete;
  EventRequests& operator=(const EventRequests&) = delete;
  ~EventRequests();

  bool isFull() const { return _isFull; }

 private:
  void _count(int change);
  static gboolean _queued(GSignalInvocationHint*, guint, const GValue* values, gpointer data);
  static gboolean _unqueued(GSignalInvocationHint*, guint, const GValue* values, gpointer data);

  const std::function<void()> _changed;
  int _pending = 0;
  bool _isFull = false;
  guint _queuedSignal = 0;
  guint _unqueuedSignal = 0;
  gulong _queuedHook = 0;
  gulong _unqueuedHook = 0;
};

}  // namespace upnp
