#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <systemd/sd-bus.h>

#include "tools/vorlanectl/Json.h"

namespace vorlanectl {

/// There is no box to talk to.
struct ConnectionError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The box answered a call with a D-Bus error.
struct CallError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A reply. Its values are read from `message` in order.
class Answer {
 public:
  explicit Answer(sd_bus_message* message) : _message(message) {}
  ~Answer() { sd_bus_message_unref(_message); }
  Answer(Answer&& other) noexcept : _message(std::exchange(other._message, nullptr)) {}
  Answer& operator=(Answer&&) = delete;

  std::int32_t readStatus();
  Json read() { return readValue(_message); }
  bool atEnd() { return sd_bus_message_at_end(_message, 1) != 0; }
  sd_bus_message* message() { return _message; }

 private:
  sd_bus_message* _message;
};

/// What the box says unasked.
struct Event {
  enum class Kind { Event, Posted, Distributed };  ///< the last two are notifications
  Kind kind = Kind::Event;
  std::string name;
  Json info;  ///< an object; nothing with a notification that is only posted
};

/// The connection to one box's door. One thread.
class Connection {
 public:
  static std::string defaultSocketPath();

  /// Throws ConnectionError.
  explicit Connection(const std::string& socketPath);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  using Append = std::function<void(sd_bus_message*)>;
  /// Calls a method of the receiver interface, and waits for its reply without a limit: a start
  /// call is answered when the session is on screen. Throws CallError, ConnectionError,
  /// CodingError.
  Answer call(const char* method, const Append& append = nullptr);
  /// The same on the box's own interface.
  Answer callBox(const char* method, const Append& append = nullptr);

  /// False ends waitForEvents().
  using EventHandler = std::function<bool(const Event& event)>;
  /// From now on events, and notifications if wanted, are kept for waitForEvents().
  void listen(bool notifications = false);
  /// Passes events on, in order, until the handler ends it or the limit is over. Returns whether
  /// the handler ended it. Throws ConnectionError when the box goes away.
  bool waitForEvents(const EventHandler& handler, std::optional<std::chrono::milliseconds> limit);

 private:
  Answer _call(const char* interface, const char* method, const Append& append);

  sd_bus* _bus = nullptr;
  std::deque<Event> _events;
};

}  // namespace vorlanectl
