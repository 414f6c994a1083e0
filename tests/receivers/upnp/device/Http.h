#pragma once

#include <functional>
#include <string>

/// One HTTP request of a controller, on a connection of its own.
struct HttpRequest {
  std::string method;
  std::string path;
  std::string headers{};  ///< lines that end with "\r\n"
  std::string body{};
  bool isChunked = false;  ///< the body has no length in the headers
};

/// Sends a request to 127.0.0.1 and returns the whole response; empty if there is none. Blocks.
std::string exchange(int port, const HttpRequest& request);

/// An HTTP server of a controller on 127.0.0.1, which answers every request with 200.
class EventServer {
 public:
  EventServer();
  ~EventServer();
  EventServer(const EventServer&) = delete;
  EventServer& operator=(const EventServer&) = delete;

  int port() const { return _port; }
  /// Waits for a request and returns it; empty after a minute. Blocks.
  std::string receive();

 private:
  int _listener = -1;
  int _port = 0;
};
