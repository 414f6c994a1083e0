#pragma once

#include <functional>
#include <memory>
#include <unordered_map>

#include <curl/curl.h>

#include "streaming/transfer/EventLoop.h"

namespace streaming {

/// The transfers of libcurl in an event loop, with the connections that they share. Transfer thread
/// only.
class CurlLoop {
 public:
  explicit CurlLoop(EventLoop& loop);
  /// No transfers are under way any more.
  ~CurlLoop();
  CurlLoop(const CurlLoop&) = delete;
  CurlLoop& operator=(const CurlLoop&) = delete;

  /// `ended` is called once after the transfer has ended and was taken out, never from within a
  /// callback of a transfer. It may add and remove others.
  void add(CURL* transfer, std::function<void(CURLcode)> ended);
  /// Cancels it; `ended` is not called. Not from within a callback of a transfer.
  void remove(CURL* transfer);

 private:
  static int _socketChanged(CURL* transfer, curl_socket_t socket, int what, void* self,
                            void* watch);
  static int _timeoutChanged(CURLM* multi, long milliseconds, void* self);
  void _act(curl_socket_t socket, int events);

  EventLoop& _loop;
  CURLM* const _multi;
  std::shared_ptr<void> _timeout;
  std::unordered_map<CURL*, std::function<void(CURLcode)>> _transfers;
};

}  // namespace streaming
