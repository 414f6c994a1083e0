#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace box {

/// An HTTP server on the loopback address that sends what it was told to, byte for byte, and keeps
/// what it was asked. A connection has a thread of its own.
class ScriptedServer {
 public:
  struct Answer {
    enum class Then { GoOn, Close, Hang };
    std::string bytes;
    Then then = Then::GoOn;
    std::size_t repeat = 1;  ///< of the bytes
  };

  ScriptedServer();
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  /// The answers to requests for `path`, in order; the last one again and again.
  void script(const std::string& path, std::vector<Answer> answers);
  std::string url(const std::string& path, const std::string& host = "127.0.0.1") const;
  /// The heads of the requests, as they came.
  std::vector<std::string> requests() const;
  /// Waits until whoever asked has taken no more for a while, or has gone from an answer that
  /// hangs, and says how much it took.
  std::uint64_t sentWhenStuck();

 private:
  void _accept();
  void _serve(int connection);
  Answer _next(const std::string& path);

  int _listener = -1;
  std::uint16_t _port = 0;
  mutable std::mutex _mutex;
  std::map<std::string, std::vector<Answer>> _scripts;
  std::vector<std::string> _requests;
  std::uint64_t _sentBytes = 0;
  bool _isStuck = false;
  std::condition_variable _stuck;
  std::vector<int> _connections;
  std::vector<std::thread> _threads;
  std::thread _acceptor;
};

/// The bytes of an answer; header fields end with the end of their line.
inline std::string sized(const std::string& body, const std::string& fields = {}) {
  return "HTTP/1.1 200 OK\r\n" + fields + "Content-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

}  // namespace box
