#include "tests/streaming/transfer/ScriptedServer.h"

#include <algorithm>
#include <stdexcept>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace streaming {

ScriptedServer::ScriptedServer() {
  _listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(_listener, generic, size) != 0 || listen(_listener, 64) != 0 ||
      getsockname(_listener, generic, &size) != 0)
    throw std::runtime_error("there is no port to be had");
  _port = ntohs(address.sin_port);
  _acceptor = std::thread([this] { _accept(); });
}

ScriptedServer::~ScriptedServer() {
  shutdown(_listener, SHUT_RDWR);
  _acceptor.join();
  {
    const std::lock_guard lock(_mutex);
    for (const int connection : _connections) shutdown(connection, SHUT_RDWR);
  }
  for (std::thread& thread : _threads) thread.join();
  for (const int connection : _connections) close(connection);
  close(_listener);
}

void ScriptedServer::script(const std::string& path, std::vector<Response> responses) {
  const std::lock_guard lock(_mutex);
  std::reverse(responses.begin(), responses.end());
  _scripts[path] = std::move(responses);
}

std::string ScriptedServer::url(const std::string& path, const std::string& host) const {
  return "http://" + host + ":" + std::to_string(_port) + path;
}

std::vector<std::string> ScriptedServer::requests() const {
  const std::lock_guard lock(_mutex);
  return _requests;
}

std::uint64_t ScriptedServer::bytesSentWhenBlocked() {
  std::unique_lock lock(_mutex);
  _stuck.wait(lock, [this] { return _isStuck; });
  return _sentBytes;
}

void ScriptedServer::_accept() {
  while (true) {
    const int connection = accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) return;
    const timeval patience{0, 300'000};
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    const std::lock_guard lock(_mutex);
    _connections.push_back(connection);
    _threads.emplace_back([this, connection] { _serve(connection); });
  }
}

ScriptedServer::Response ScriptedServer::_next(const std::string& path) {
  const std::lock_guard lock(_mutex);
  auto& responses = _scripts[path];
  if (responses.empty()) return {"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"};
  Response response = responses.back();
  if (responses.size() > 1) responses.pop_back();
  return response;
}

void ScriptedServer::_serve(int connection) {
  std::string input;
  char bytes[4096];
  while (true) {
    auto end = input.find("\r\n\r\n");
    while (end == input.npos) {
      const ssize_t size = recv(connection, bytes, sizeof bytes, 0);
      if (size <= 0) return;
      input.append(bytes, static_cast<std::size_t>(size));
      end = input.find("\r\n\r\n");
    }
    const std::string head = input.substr(0, end + 2);
    input.erase(0, end + 4);
    {
      const std::lock_guard lock(_mutex);
      _requests.push_back(head);
    }
    const auto begin = head.find(' ') + 1;
    const Response response = _next(head.substr(begin, head.find(' ', begin) - begin));
    for (std::size_t round = 0; round < response.repeat; ++round) {
      const ssize_t sent =
          send(connection, response.bytes.data(), response.bytes.size(), MSG_NOSIGNAL);
      const std::lock_guard lock(_mutex);
      if (sent > 0) _sentBytes += static_cast<std::uint64_t>(sent);
      if (sent != static_cast<ssize_t>(response.bytes.size())) {
        _isStuck = true;
        _stuck.notify_all();
        shutdown(connection, SHUT_RDWR);
        return;
      }
    }
    if (response.then == Response::Then::Close) {
      shutdown(connection, SHUT_RDWR);
      return;
    }
    if (response.then == Response::Then::Hang) {
      while (recv(connection, bytes, sizeof bytes, 0) > 0) {
      }
      const std::lock_guard lock(_mutex);
      _isStuck = true;
      _stuck.notify_all();
    }
  }
}

}  // namespace streaming
