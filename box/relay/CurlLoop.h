#pragma once

#include <functional>
#include <map>
#include <memory>
#include <unordered_map>

#include <curl/curl.h>
#include <glib.h>

namespace box {

/// libcurl's transfers in a GLib main context: its sockets and its one time-out are sources there,
/// so that nothing runs while nothing happens.
///
/// Threads: the context's own.
class CurlLoop {
 public:
  explicit CurlLoop(GMainContext* context);
  /// No transfers are under way any more.
  ~CurlLoop();
  CurlLoop(const CurlLoop&) = delete;
  CurlLoop& operator=(const CurlLoop&) = delete;

  /// `ended` is called once when the transfer has come to its end and been taken out, never from
  /// within a callback of a transfer. It may add and remove others.
  void add(CURL* transfer, std::function<void(CURLcode)> ended);
  /// Breaks it off; `ended` is not called. Not from within a callback of a transfer.
  void remove(CURL* transfer);

 private:
  static int _socketChanged(CURL* transfer, curl_socket_t socket, int what, void* self,
                            void* watch);
  static int _timeoutChanged(CURLM* multi, long milliseconds, void* self);
  void _act(curl_socket_t socket, int events);
  void _unwatch(curl_socket_t socket);

  GMainContext* const _context;
  CURLM* const _multi;
  GSource* _timeout;
  std::unordered_map<curl_socket_t, GSource*> _watches;
  std::unordered_map<CURL*, std::function<void(CURLcode)>> _transfers;
};

}  // namespace box
