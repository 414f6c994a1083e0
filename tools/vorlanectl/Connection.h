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

/// The box cannot be reached.
struct ConnectionError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A call returned a D-Bus error.
struct CallError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A reply. Values are read from `message` in order.
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

/// A message that the box sends without a call.
struct Event {
  enum class Kind { Event, Posted, Distributed, Log };  ///< Posted, Distributed: notifications
  Kind kind = Kind::Event;
  std::string name;  ///< for Log: the line
  Json info;         ///< an object; null for a plain notification
};

/// The connection to a box. Not thread-safe.
class Connection {
 public:
  static std::string defaultSocketPath();

  /// Throws ConnectionError.
  explicit Connection(const std::string& socketPath);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  using Append = std::function<void(sd_bus_message*)>;
  /// Calls a method of the receiver interface and waits for the reply without a timeout, because a
  /// start call returns when the session is on screen. Throws CallError, ConnectionError or
  /// CodingError.
  Answer call(const char* method, const Append& append = nullptr);
  /// Calls a method of the interface of the box itself.
  Answer callBox(const char* method, const Append& append = nullptr);

  /// Returning false ends waitForEvents().
  using EventHandler = std::function<bool(const Event& event)>;
  /// Starts queuing events, and optionally notifications, for waitForEvents().
  void listen(bool notifications = false);
  /// Starts queuing log lines for waitForEvents(). Throws like call().
  void startTrace();
  /// Passes events to the handler in order, until it returns false or the limit has elapsed.
  /// Returns whether the handler has returned false. Throws ConnectionError if the connection ends.
  bool waitForEvents(const EventHandler& handler, std::optional<std::chrono::milliseconds> limit);

 private:
  void _match(const char* interface, const char* signal, sd_bus_message_handler_t handler);
  Answer _call(const char* interface, const char* method, const Append& append);

  sd_bus* _bus = nullptr;
  std::deque<Event> _events;
};

}  // namespace vorlanectl
