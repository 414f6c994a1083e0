#include "tests/receivers/upnp/device/Http.h"

#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kHttpPatienceMilliseconds = 60000;

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

bool waitForInput(int descriptor) {
  pollfd ready{descriptor, POLLIN, 0};
  return poll(&ready, 1, kHttpPatienceMilliseconds) == 1;
}

/// Stops without an error when the server closes the connection.
void sendAll(int descriptor, const std::string& text) {
  std::size_t sent = 0;
  while (sent < text.size()) {
    const ssize_t count = send(descriptor, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return;
    sent += static_cast<std::size_t>(count);
  }
}

bool readMore(int descriptor, std::string& text) {
  char buffer[65536];
  if (!waitForInput(descriptor)) return false;
  const ssize_t count = recv(descriptor, buffer, sizeof buffer, 0);
  if (count > 0) text.append(buffer, static_cast<std::size_t>(count));
  return count > 0;
}

/// The size of the body by the headers; 0 if they do not say it.
std::size_t contentLength(const std::string& message) {
  const auto place = message.find("Content-Length: ");
  return place == std::string::npos ? 0 : std::stoul(message.substr(place + 16));
}

}  // namespace

std::string exchange(int port, const HttpRequest& request) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  std::string response;
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    std::string head = request.method + " " + request.path +
                       " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                       "\r\nConnection: close\r\n" + request.headers;
    if (request.isChunked) {
      sendAll(descriptor, head + "Transfer-Encoding: chunked\r\n\r\n");
      constexpr std::size_t kChunk = 65536;
      for (std::size_t begin = 0; begin < request.body.size(); begin += kChunk) {
        const std::string chunk = request.body.substr(begin, kChunk);
        char size[32];
        std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
        sendAll(descriptor, size + chunk + "\r\n");
      }
      sendAll(descriptor, "0\r\n\r\n");
    } else {
      head += "Content-Length: " + std::to_string(request.body.size()) + "\r\n\r\n";
      sendAll(descriptor, head + request.body);
    }
    while (readMore(descriptor, response)) {
    }
  }
  close(descriptor);
  return response;
}

int firstClosedOf(int count, int port) {
  const sockaddr_in address = loopback(port);
  std::vector<pollfd> connections;
  for (int number = 0; number < count; ++number) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    connections.push_back({descriptor, POLLRDHUP, 0});
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      break;
    if (number == 0) continue;
    // The answer shows that the server has accepted it.
    sendAll(descriptor, "GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n");
    std::string response;
    readMore(descriptor, response);
  }
  poll(connections.data(), connections.size(), kHttpPatienceMilliseconds);
  int closed = -1;
  for (std::size_t number = 0; number < connections.size(); ++number) {
    if (closed < 0 && connections[number].revents != 0) closed = static_cast<int>(number);
    close(connections[number].fd);
  }
  return closed;
}

EventServer::EventServer(std::string status, std::string body)
    : _status(std::move(status)),
      _body(std::move(body)),
      _listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  if (bind(_listener, reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
      listen(_listener, SOMAXCONN) == 0 &&
      getsockname(_listener, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
    _port = ntohs(address.sin_port);
  }
}

EventServer::~EventServer() { close(_listener); }

std::string EventServer::receive() {
  if (!waitForInput(_listener)) return {};
  const int descriptor = accept(_listener, nullptr, nullptr);
  std::string request;
  std::size_t head = std::string::npos;
  while (head == std::string::npos || request.size() < head + 4 + contentLength(request)) {
    if (!readMore(descriptor, request)) break;
    head = request.find("\r\n\r\n");
  }
  sendAll(descriptor, "HTTP/1.1 " + _status + "\r\nContent-Length: " +
                          std::to_string(_body.size()) + "\r\nConnection: close\r\n\r\n" + _body);
  close(descriptor);
  return request;
}

bool EventServer::isContacted() const {
  pollfd ready{_listener, POLLIN, 0};
  return poll(&ready, 1, 0) == 1;
}
