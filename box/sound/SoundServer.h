#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace box {

/// Somewhere that the sound server can play to.
struct SoundSink {
  std::string name;         ///< the server's, stable
  std::string description;  ///< for people
  /// The property `vorlane.device-type`, or empty.
  std::string deviceType;
  bool isHardware = false;
  /// The one that the server uses for whoever names none.
  bool isServerDefault = false;
};

/// A connection to the box's sound server, by the client library of PulseAudio, which PipeWire
/// serves as well. It comes and goes with the server: one that starts later, or again, is noticed
/// by its socket's appearing; nothing polls, and no server is ever started.
///
/// Workflow: made, start()ed when there is time for it, stop()ped or destroyed.
///
/// Threads: made, started, stopped and destroyed on one thread; the rest may be called on any.
/// Events and answers come on the connection's own thread, must return quickly and must not call
/// back into the connection. After stop() has returned nothing comes any more.
class SoundServer {
 public:
  struct Events {
    /// It has come, or gone. Nothing is told before it has come for the first time, but for one
    /// `false` when there is none at the start.
    std::function<void(bool connected)> connectionChanged;
    /// The sink that a stream of this process played to is gone; where the stream went, if
    /// anywhere, is not where its listener is.
    std::function<void()> sinkTakenAway;
  };
  using SinksAnswer = std::function<void(std::optional<std::vector<SoundSink>>)>;

  explicit SoundServer(Events events);
  ~SoundServer();
  SoundServer(const SoundServer&) = delete;
  SoundServer& operator=(const SoundServer&) = delete;

  void start();
  void stop();

  /// Answers once, in the server's order; with nothing where there is no server, or where it goes
  /// before it has answered. A server that hangs never answers: whoever asks bounds the wait. Not
  /// answered when the connection is stopped first.
  void fetchSinks(SinksAnswer answer);
  /// Makes it the server's default, and moves the streams of this process there. One that is not
  /// there changes nothing.
  void selectSink(const std::string& name);

 private:
  class Connection;
  const Events _events;
  std::unique_ptr<Connection> _connection;
};

/// Where a sound server's socket may appear, by the environment, best first. Empty where the
/// environment names a server that is not on this machine.
std::vector<std::string> soundServerSockets();

}  // namespace box
