#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace box {

/// An output of the sound server.
struct SoundSink {
  std::string name;         ///< unique and stable
  std::string description;  ///< shown to the user
  /// The property `vorlane.device-type`, or empty.
  std::string deviceType;
  bool isHardware = false;
  bool isServerDefault = false;
};

/// A connection to the sound server with the PulseAudio client library, which works with PipeWire
/// too. It reconnects when the socket of a server appears; it does not poll and never starts a
/// server.
///
/// Workflow: construct, start(), then stop() or destroy.
///
/// Threads: construct, start, stop and destroy on one thread; the other functions are thread-safe.
/// Callbacks run on the connection's thread. They must return quickly and must not call this
/// object. No callback runs after stop() has returned.
class SoundServer {
 public:
  struct Events {
    /// Called when the connection is made or lost, and once with `false` if there is no server at
    /// the start.
    std::function<void(bool connected)> connectionChanged;
    /// The sink of a stream of this process was removed. The server may have moved the stream to a
    /// sink that the user does not hear.
    std::function<void()> sinkRemoved;
  };
  using SinksCallback = std::function<void(std::optional<std::vector<SoundSink>>)>;

  explicit SoundServer(Events events);
  ~SoundServer();
  SoundServer(const SoundServer&) = delete;
  SoundServer& operator=(const SoundServer&) = delete;

  void start();
  void stop();

  /// Calls `callback` once with the sinks in the server's order, or with nothing if there is no
  /// server or it ends. It is not called if the server hangs or the connection is stopped: use a
  /// timeout.
  void fetchSinks(SinksCallback callback);
  /// Makes the sink the server's default and moves the streams of this process to it. Does nothing
  /// if the sink does not exist.
  void selectSink(const std::string& name);

 private:
  class Connection;
  const Events _events;
  std::unique_ptr<Connection> _connection;
};

/// Paths where the socket of a sound server may appear, best first, according to the environment.
/// Empty if the environment names a server on another machine.
std::vector<std::string> soundServerSockets();

}  // namespace box
