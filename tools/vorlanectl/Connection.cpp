#include "tools/vorlanectl/Connection.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "client/DefaultSocket.h"

namespace vorlanectl {

namespace {

constexpr const char* kPath = "/quorin/tvvorlane/Receiver";
constexpr const char* kReceiver = "quorin.tvvorlane.Receiver1";
constexpr const char* kBox = "quorin.tvvorlane.Box1";
constexpr const char* kNotifications = "quorin.vorlane.Notifications1";

[[noreturn]] void failToConnect(const std::string& path, int error) {
  if (error == ENOENT || error == ECONNREFUSED) {
    throw ConnectionError("No box is running: nothing answers at " + path);
  }
  throw ConnectionError("Cannot connect to " + path + ": " + std::strerror(error));
}

bool isDisconnected(int error) {
  return error == ECONNRESET || error == ENOTCONN || error == EPIPE || error == ESHUTDOWN;
}

/// Escapes the special characters of a D-Bus address.
std::string escaped(const std::string& path) {
  std::string result;
  for (const char letter : path) {
    const bool plain =
        std::strchr("-_/.\\", letter) || std::isalnum(static_cast<unsigned char>(letter));
    if (plain) {
      result += letter;
    } else {
      char code[4];
      std::snprintf(code, sizeof code, "%%%02x",
                    static_cast<unsigned>(static_cast<unsigned char>(letter)));
      result += code;
    }
  }
  return result;
}

template <Event::Kind kind>
int received(sd_bus_message* message, void* userData, sd_bus_error*) {
  const char* name = nullptr;
  if (sd_bus_message_read_basic(message, 's', &name) <= 0) return 0;
  Json info;
  if (kind != Event::Kind::Posted) info = readValue(message);
  static_cast<std::deque<Event>*>(userData)->push_back({kind, name, std::move(info)});
  return 0;
}

}  // namespace

std::int32_t Answer::readStatus() {
  std::int32_t status = 0;
  if (sd_bus_message_read_basic(_message, 'i', &status) <= 0)
    throw CallError("The answer has no status");
  return status;
}

std::string Connection::defaultSocketPath() { return tvvorlane::defaultSocket(); }

Connection::Connection(const std::string& socketPath) {
  const std::string address = "unix:path=" + escaped(socketPath);
  int result = sd_bus_new(&_bus);
  if (result >= 0) result = sd_bus_set_address(_bus, address.c_str());
  if (result >= 0) result = sd_bus_set_bus_client(_bus, 0);
  if (result >= 0) result = sd_bus_start(_bus);
  if (result < 0) {
    sd_bus_unref(_bus);
    failToConnect(socketPath, -result);
  }
}

Connection::~Connection() { sd_bus_flush_close_unref(_bus); }

Answer Connection::call(const char* method, const Append& append) {
  return _call(kReceiver, method, append);
}

Answer Connection::callBox(const char* method, const Append& append) {
  return _call(kBox, method, append);
}

Answer Connection::_call(const char* interface, const char* method, const Append& append) {
  sd_bus_message* message = nullptr;
  const int made =
      sd_bus_message_new_method_call(_bus, &message, nullptr, kPath, interface, method);
  if (made < 0) throw CallError(std::string("Invalid method name \"") + method + "\"");
  const Answer call(message);
  if (append) append(message);

  sd_bus_error error{};
  sd_bus_message* reply = nullptr;
  const int result = sd_bus_call(_bus, message, UINT64_MAX, &error, &reply);
  if (result >= 0) return Answer(reply);
  const std::string text = error.message ? error.message : std::strerror(-result);
  const bool answered = sd_bus_error_is_set(&error) != 0 && !isDisconnected(-result);
  sd_bus_error_free(&error);
  if (isDisconnected(-result)) throw ConnectionError("The box has closed the connection");
  if (!answered) throw ConnectionError("The box cannot be called: " + text);
  throw CallError(text);
}

void Connection::_match(const char* interface, const char* signal,
                        sd_bus_message_handler_t handler) {
  sd_bus_match_signal(_bus, nullptr, nullptr, kPath, interface, signal, handler, &_events);
}

void Connection::startTrace() {
  _match(kBox, "Log", received<Event::Kind::Log>);
  callBox("Trace", [](sd_bus_message* call) { sd_bus_message_append(call, "b", 1); });
}

void Connection::listen(bool notifications) {
  _match(kReceiver, "Event", received<Event::Kind::Event>);
  if (notifications) {
    _match(kNotifications, "Posted", received<Event::Kind::Posted>);
    _match(kNotifications, "Distributed", received<Event::Kind::Distributed>);
  }
  // The box sends events to a peer after its first call.
  sd_bus_call_method(_bus, nullptr, kPath, "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
                     "");
}

bool Connection::waitForEvents(const EventHandler& handler,
                               std::optional<std::chrono::milliseconds> limit) {
  using Clock = std::chrono::steady_clock;
  const auto end = limit ? std::optional(Clock::now() + *limit) : std::nullopt;
  for (;;) {
    while (!_events.empty()) {
      const Event event = std::move(_events.front());
      _events.pop_front();
      if (!handler(event)) return true;
    }
    const int processed = sd_bus_process(_bus, nullptr);
    if (processed < 0) throw ConnectionError("The box has closed the connection");
    if (processed > 0) continue;
    std::uint64_t wait = UINT64_MAX;
    if (end) {
      const auto rest =
          std::chrono::duration_cast<std::chrono::microseconds>(*end - Clock::now()).count();
      if (rest <= 0) return false;
      wait = static_cast<std::uint64_t>(rest);
    }
    if (const int waited = sd_bus_wait(_bus, wait); waited < 0 && waited != -EINTR) {
      throw ConnectionError("The box has closed the connection");
    }
  }
}

}  // namespace vorlanectl
