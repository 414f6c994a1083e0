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

/// Opens connections to 127.0.0.1, and makes a request on each but the first. Waits until the
/// server has closed one, and returns its number; -1 if it closes none within a minute. Blocks.
int firstClosedOf(int count, int port);

/// An HTTP server of a controller on 127.0.0.1.
class EventServer {
 public:
  /// The answer to every request: `status` with further header lines, and the body.
  explicit EventServer(std::string status = "200 OK", std::string body = {});
  ~EventServer();
  EventServer(const EventServer&) = delete;
  EventServer& operator=(const EventServer&) = delete;

  int port() const { return _port; }
  /// Waits for a request and returns it; empty after a minute. Blocks.
  std::string receive();
  /// Returns whether a request waits.
  bool isContacted() const;

 private:
  const std::string _status;
  const std::string _body;
  int _listener = -1;
  int _port = 0;
};
