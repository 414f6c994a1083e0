#pragma once

#include <functional>
#include <memory>
#include <unordered_map>

#include <curl/curl.h>

#include "streaming/transfer/EventLoop.h"

namespace streaming {

/// Runs libcurl transfers in an event loop. The transfers share connections. Transfer thread only.
class CurlLoop {
 public:
  explicit CurlLoop(EventLoop& loop);
  /// All transfers must have been removed.
  ~CurlLoop();
  CurlLoop(const CurlLoop&) = delete;
  CurlLoop& operator=(const CurlLoop&) = delete;

  /// `ended` is called once, after the transfer was removed, and never within a libcurl callback.
  /// It may add and remove transfers.
  void add(CURL* transfer, std::function<void(CURLcode)> ended);
  /// Cancels a transfer without calling `ended`. Must not be called within a libcurl callback.
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
