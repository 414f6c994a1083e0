#include "streaming/transfer/http/CurlLoop.h"

#include <chrono>
#include <utility>

#include <sys/epoll.h>

namespace streaming {

CurlLoop::CurlLoop(EventLoop& loop) : _loop(loop), _multi(curl_multi_init()) {
  curl_multi_setopt(_multi, CURLMOPT_SOCKETFUNCTION, &CurlLoop::_socketChanged);
  curl_multi_setopt(_multi, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(_multi, CURLMOPT_TIMERFUNCTION, &CurlLoop::_timeoutChanged);
  curl_multi_setopt(_multi, CURLMOPT_TIMERDATA, this);
  // No multiplexing: a paused transfer would block others on the same connection.
  curl_multi_setopt(_multi, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
  curl_multi_setopt(_multi, CURLMOPT_MAXCONNECTS, 16L);
}

CurlLoop::~CurlLoop() { curl_multi_cleanup(_multi); }

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
  if (what == CURL_POLL_REMOVE || what == CURL_POLL_NONE) {
    loop._loop.unwatch(socket);
    return 0;
  }
  std::uint32_t wanted = 0;
  if (what != CURL_POLL_OUT) wanted |= EPOLLIN;
  if (what != CURL_POLL_IN) wanted |= EPOLLOUT;
  loop._loop.watch(socket, wanted, [&loop, socket](std::uint32_t ready) {
    int events = 0;
    if (ready & (EPOLLIN | EPOLLHUP)) events |= CURL_CSELECT_IN;
    if (ready & EPOLLOUT) events |= CURL_CSELECT_OUT;
    if (ready & EPOLLERR) events |= CURL_CSELECT_ERR;
    loop._act(socket, events);
  });
  return 0;
}

int CurlLoop::_timeoutChanged(CURLM*, long milliseconds, void* self) {
  auto& loop = *static_cast<CurlLoop*>(self);
  loop._timeout.reset();
  if (milliseconds < 0) return 0;
  const auto when = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  loop._timeout = loop._loop.callAt(when, [&loop] { loop._act(CURL_SOCKET_TIMEOUT, 0); });
  return 0;
}

void CurlLoop::_act(curl_socket_t socket, int events) {
  int running = 0;
  curl_multi_socket_action(_multi, socket, events, &running);
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(_multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    // The message is invalid after the transfer was removed.
    CURL* const transfer = message->easy_handle;
    const CURLcode code = message->data.result;
    auto ended = _transfers.extract(transfer);
    curl_multi_remove_handle(_multi, transfer);
    if (!ended.empty()) ended.mapped()(code);
  }
}

}  // namespace streaming
