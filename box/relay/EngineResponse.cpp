#include "box/relay/EngineResponse.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

namespace box {
namespace {

bool isPassedOn(std::string_view name) {
  static constexpr std::array<std::string_view, 6> names = {"Content-Type",  "Content-Range",
                                                            "Accept-Ranges", "Last-Modified",
                                                            "ETag",          "Content-Encoding"};
  return isSameName(name.substr(0, 4), "icy-") ||
         std::any_of(names.begin(), names.end(),
                     [name](std::string_view passed) { return isSameName(passed, name); });
}

}  // namespace

std::shared_ptr<EngineResponse> EngineResponse::make(SoupServerMessage* message,
                                                     std::size_t mostWaiting) {
  std::shared_ptr<EngineResponse> response(new EngineResponse(message, mostWaiting));
  response->_self = response;
  return response;
}

EngineResponse::EngineResponse(SoupServerMessage* message, std::size_t mostWaiting)
    : _message(SOUP_SERVER_MESSAGE(g_object_ref(message))),
      _mostWaiting(mostWaiting),
      _isHead(g_strcmp0(soup_server_message_get_method(message), "HEAD") == 0) {
  soup_message_body_set_accumulate(_body(), FALSE);
  const auto wrote =
      +[](SoupServerMessage*, guint bytes, EngineResponse* self) { self->_wrote(bytes); };
  const auto finished = +[](SoupServerMessage*, EngineResponse* self) { self->_finished(); };
  g_signal_connect(message, "wrote-body-data", G_CALLBACK(wrote), this);
  g_signal_connect(message, "finished", G_CALLBACK(finished), this);
  soup_server_message_pause(message);
  _watchPeer();
}

EngineResponse::~EngineResponse() {
  _unwatchPeer();
  g_signal_handlers_disconnect_by_data(_message, this);
  g_object_unref(_message);
}

void EngineResponse::begin(const ResourceHead& head) {
  if (_isDone || std::exchange(_begun, true)) return;
  SoupMessageHeaders* const fields = soup_server_message_get_response_headers(_message);
  for (const auto& [name, value] : head.fields)
    if (isPassedOn(name)) soup_message_headers_replace(fields, name.c_str(), value.c_str());
  if (head.length)
    soup_message_headers_set_content_length(fields, static_cast<goffset>(*head.length));
  else if (soup_server_message_get_http_version(_message) == SOUP_HTTP_1_0)
    soup_message_headers_set_encoding(fields, SOUP_ENCODING_EOF);
  else
    soup_message_headers_set_encoding(fields, SOUP_ENCODING_CHUNKED);
  soup_server_message_set_status(_message, static_cast<guint>(head.status), nullptr);
  soup_server_message_unpause(_message);
}

bool EngineResponse::send(std::string_view bytes) {
  if (_isDone || _isHead || bytes.empty()) return true;
  soup_message_body_append(_body(), SOUP_MEMORY_COPY, bytes.data(), bytes.size());
  _waiting += bytes.size();
  _isFull = _waiting >= _mostWaiting;
  soup_server_message_unpause(_message);
  return !_isFull;
}

void EngineResponse::finish() {
  if (_isDone || std::exchange(_ended, true)) return;
  soup_message_body_complete(_body());
  soup_server_message_unpause(_message);
}

void EngineResponse::fail(int status, const platform::Error&) {
  if (_isDone || std::exchange(_ended, true)) return;
  if (_begun) return _breakOff();
  soup_server_message_set_status(_message, static_cast<guint>(status), nullptr);
  SoupMessageHeaders* const fields = soup_server_message_get_response_headers(_message);
  soup_message_headers_set_content_length(fields, 0);
  soup_message_body_complete(_body());
  soup_server_message_unpause(_message);
}

void EngineResponse::_breakOff() {
  // The library has no way to give a body up: what it writes next fails.
  g_socket_shutdown(soup_server_message_get_socket(_message), TRUE, TRUE, nullptr);
  soup_message_body_append(_body(), SOUP_MEMORY_STATIC, "", 1);
  soup_server_message_unpause(_message);
}

void EngineResponse::_wrote(std::size_t bytes) {
  _waiting -= std::min(bytes, _waiting);
  if (!_isFull || _waiting > _mostWaiting / 2) return;
  _isFull = false;
  // A copy: it may be taken back meanwhile.
  if (const auto call = drained) call();
}

void EngineResponse::_finished() {
  const auto self = std::exchange(_self, nullptr);
  _isDone = true;
  _unwatchPeer();
  const auto left = std::exchange(gone, nullptr);
  drained = nullptr;
  if (left && !_ended) left();
}

// A connection is not looked at while nothing is written to it.
void EngineResponse::_watchPeer() {
  GSocket* const socket = soup_server_message_get_socket(_message);
  if (!socket) return;
  _peerWatch = g_socket_create_source(socket, G_IO_IN, nullptr);
  const GSocketSourceFunc readable = [](GSocket* peer, GIOCondition, gpointer data) -> gboolean {
    auto& response = *static_cast<EngineResponse*>(data);
    char byte = 0;
    const ssize_t size = recv(g_socket_get_fd(peer), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return G_SOURCE_CONTINUE;
    response._unwatchPeer();
    // The next request has come already, or this one's reader has gone.
    if (size <= 0) response._breakOff();
    return G_SOURCE_REMOVE;
  };
  g_source_set_callback(_peerWatch, G_SOURCE_FUNC(readable), this, nullptr);
  g_source_attach(_peerWatch, g_main_context_get_thread_default());
}

void EngineResponse::_unwatchPeer() {
  if (!_peerWatch) return;
  g_source_destroy(_peerWatch);
  g_source_unref(std::exchange(_peerWatch, nullptr));
}

}  // namespace box
