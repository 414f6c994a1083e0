#include "box/relay/CurlLoop.h"

#include <utility>

#include <glib-unix.h>

namespace box {
namespace {

/// Without callbacks of its own: it is ready at a time, and calls what it was given.
GSource* newTimeoutSource() {
  static GSourceFuncs functions = {
      nullptr,
      nullptr,
      [](GSource* source, GSourceFunc callback, gpointer data) -> gboolean {
        g_source_set_ready_time(source, -1);
        return callback(data);
      },
      nullptr,
      nullptr,
      nullptr};
  return g_source_new(&functions, sizeof(GSource));
}

GIOCondition conditionOf(int what) {
  switch (what) {
    case CURL_POLL_IN:
      return G_IO_IN;
    case CURL_POLL_OUT:
      return G_IO_OUT;
    default:
      return static_cast<GIOCondition>(G_IO_IN | G_IO_OUT);
  }
}

}  // namespace

CurlLoop::CurlLoop(GMainContext* context)
    : _context(context), _multi(curl_multi_init()), _timeout(newTimeoutSource()) {
  curl_multi_setopt(_multi, CURLMOPT_SOCKETFUNCTION, &CurlLoop::_socketChanged);
  curl_multi_setopt(_multi, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(_multi, CURLMOPT_TIMERFUNCTION, &CurlLoop::_timeoutChanged);
  curl_multi_setopt(_multi, CURLMOPT_TIMERDATA, this);
  // A transfer that the engine does not read would hold up the others of its connection.
  curl_multi_setopt(_multi, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
  curl_multi_setopt(_multi, CURLMOPT_MAXCONNECTS, 16L);
  g_source_set_callback(
      _timeout,
      [](gpointer data) -> gboolean {
        static_cast<CurlLoop*>(data)->_act(CURL_SOCKET_TIMEOUT, 0);
        return G_SOURCE_CONTINUE;
      },
      this, nullptr);
  g_source_attach(_timeout, _context);
}

CurlLoop::~CurlLoop() {
  curl_multi_cleanup(_multi);
  for (const auto& [socket, watch] : _watches) {
    g_source_destroy(watch);
    g_source_unref(watch);
  }
  g_source_destroy(_timeout);
  g_source_unref(_timeout);
}

void CurlLoop::add(CURL* transfer, std::function<void(CURLcode)> ended) {
  _transfers[transfer] = std::move(ended);
  curl_multi_add_handle(_multi, transfer);
}

void CurlLoop::remove(CURL* transfer) {
  if (_transfers.erase(transfer) == 0) return;
  curl_multi_remove_handle(_multi, transfer);
}

int CurlLoop::_socketChanged(CURL*, curl_socket_t socket, int what, void* self, void*) {
  auto& loop = *static_cast<CurlLoop*>(self);
  loop._unwatch(socket);
  if (what == CURL_POLL_REMOVE) return 0;
  GSource* watch = g_unix_fd_source_new(socket, conditionOf(what));
  const GUnixFDSourceFunc ready = [](gint descriptor, GIOCondition condition,
                                     gpointer data) -> gboolean {
    int events = 0;
    if (condition & (G_IO_IN | G_IO_HUP)) events |= CURL_CSELECT_IN;
    if (condition & G_IO_OUT) events |= CURL_CSELECT_OUT;
    if (condition & G_IO_ERR) events |= CURL_CSELECT_ERR;
    static_cast<CurlLoop*>(data)->_act(descriptor, events);
    return G_SOURCE_CONTINUE;
  };
  g_source_set_callback(watch, G_SOURCE_FUNC(ready), self, nullptr);
  g_source_attach(watch, loop._context);
  loop._watches[socket] = watch;
  return 0;
}

int CurlLoop::_timeoutChanged(CURLM*, long milliseconds, void* self) {
  GSource* timeout = static_cast<CurlLoop*>(self)->_timeout;
  g_source_set_ready_time(
      timeout, milliseconds < 0 ? -1 : g_get_monotonic_time() + gint64{milliseconds} * 1000);
  return 0;
}

void CurlLoop::_unwatch(curl_socket_t socket) {
  const auto found = _watches.find(socket);
  if (found == _watches.end()) return;
  g_source_destroy(found->second);
  g_source_unref(found->second);
  _watches.erase(found);
}

void CurlLoop::_act(curl_socket_t socket, int events) {
  int running = 0;
  curl_multi_socket_action(_multi, socket, events, &running);
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(_multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    // The message is gone once its transfer is taken out.
    CURL* const transfer = message->easy_handle;
    const CURLcode code = message->data.result;
    auto ended = _transfers.extract(transfer);
    curl_multi_remove_handle(_multi, transfer);
    if (!ended.empty()) ended.mapped()(code);
  }
}

}  // namespace box
