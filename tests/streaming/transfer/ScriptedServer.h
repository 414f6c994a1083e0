#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace streaming {

/// An HTTP server on the loopback address that sends scripted bytes and records requests. Each
/// connection has its own thread.
class ScriptedServer {
 public:
  struct Response {
    enum class Then { GoOn, Close, Hang };
    std::string bytes;
    Then then = Then::GoOn;
    std::size_t repeat = 1;  ///< number of repetitions of `bytes`
  };

  ScriptedServer();
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  /// The responses to requests for `path`, in order. The last one is repeated.
  void script(const std::string& path, std::vector<Response> responses);
  std::string url(const std::string& path, const std::string& host = "127.0.0.1") const;
  /// The heads of the requests, in order.
  std::vector<std::string> requests() const;
  /// Waits until the client has stopped reading, or has closed a connection whose response hangs.
  /// Returns the number of bytes sent.
  std::uint64_t bytesSentWhenBlocked();

 private:
  void _accept();
  void _serve(int connection);
  Response _next(const std::string& path);

  int _listener = -1;
  std::uint16_t _port = 0;
  mutable std::mutex _mutex;
  std::map<std::string, std::vector<Response>> _scripts;
  std::vector<std::string> _requests;
  std::uint64_t _sentBytes = 0;
  bool _isStuck = false;
  std::condition_variable _stuck;
  std::vector<int> _connections;
  std::vector<std::thread> _threads;
  std::thread _acceptor;
};

/// The bytes of a response. Each header field ends with its line break.
inline std::string sized(const std::string& body, const std::string& fields = {}) {
  return "HTTP/1.1 200 OK\r\n" + fields + "Content-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

}  // namespace streaming
