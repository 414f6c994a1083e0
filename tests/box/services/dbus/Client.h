#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "box/services/dbus/ValueReader.h"
#include "box/services/dbus/ValueWriter.h"
#include "box/services/support/FileDescriptor.h"
#include "platform/foundation/Value.h"

namespace testing_dbus {

/// Timeout of everything that a test waits for.
inline constexpr int kPatienceMilliseconds = 10000;

/// Returns a connected stream socket, or an empty descriptor on failure.
inline box::FileDescriptor connectTo(const std::string& path) {
  box::FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0)
    return {};
  return descriptor;
}

/// Reads until the peer closes the connection. Returns false on a timeout.
inline bool isClosedByPeer(int descriptor) {
  char buffer[4096];
  for (;;) {
    pollfd poller{descriptor, POLLIN, 0};
    if (poll(&poller, 1, kPatienceMilliseconds) != 1) return false;
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count <= 0) return true;
  }
}

/// The reply to a call.
struct Answer {
  std::string error;  ///< the name of the D-Bus error, or the text of the errno without a reply
  std::int32_t status = 0;
  platform::Value value;     ///< of an `av`
  platform::Dictionary out;  ///< of an `a{sv}`
  std::size_t dataSize = 0;  ///< of an `ay`
};

/// A D-Bus client that connects to the server.
class Client {
 public:
  explicit Client(const std::string& path) {
    const std::string address = "unix:path=" + path;
    sd_bus_new(&_bus);
    sd_bus_set_address(_bus, address.c_str());
    sd_bus_set_bus_client(_bus, 0);
    sd_bus_start(_bus);
    sd_bus_match_signal(_bus, nullptr, nullptr, kPath, "quorin.tvvorlane.Receiver1", "Event",
                        _eventCame, this);
    sd_bus_match_signal(_bus, nullptr, nullptr, kPath, "quorin.tvvorlane.Box1", "Log", _eventCame,
                        this);
  }
  ~Client() { sd_bus_close_unref(_bus); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  using Fill = std::function<void(sd_bus_message*)>;
  sd_bus_message* newCall(const char* method, const Fill& fill,
                          const char* interface = "quorin.tvvorlane.Receiver1") {
    sd_bus_message* message = nullptr;
    sd_bus_message_new_method_call(_bus, &message, nullptr, kPath, interface, method);
    if (fill) fill(message);
    return message;
  }
  Answer call(const char* method, const Fill& fill = nullptr,
              const char* interface = "quorin.tvvorlane.Receiver1") {
    sd_bus_message* message = newCall(method, fill, interface);
    sd_bus_error error{};
    sd_bus_message* reply = nullptr;
    const int result = sd_bus_call(_bus, message, 1000ULL * kPatienceMilliseconds, &error, &reply);
    Answer answer = result < 0
                        ? Answer{error.name ? error.name : std::strerror(-result), {}, {}, {}, {}}
                        : _read(reply);
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    sd_bus_message_unref(message);
    return answer;
  }
  Answer callBox(const char* method, const Fill& fill = nullptr) {
    return call(method, fill, "quorin.tvvorlane.Box1");
  }
  Answer callWith(const char* method, const platform::Dictionary& params) {
    return call(method, [&](sd_bus_message* m) { box::ValueWriter(m).appendDictionary(params); });
  }
  Answer perform(const char* action, const platform::Dictionary& params) {
    return call("Perform", [&](sd_bus_message* m) {
      box::ValueWriter writer(m);
      writer.appendString(action);
      writer.appendDictionary(params);
    });
  }
  Answer getProperty(const char* property) {
    return call("GetProperty",
                [&](sd_bus_message* m) { sd_bus_message_append(m, "sav", property, 0); });
  }
  /// Sends a call without reading the reply.
  void send(const char* method, const Fill& fill = nullptr,
            const char* interface = "quorin.tvvorlane.Receiver1") {
    sd_bus_message* message = newCall(method, fill, interface);
    // sd_bus_send() with a null cookie would clear the flag that requests a reply.
    std::uint64_t cookie = 0;
    sd_bus_send(_bus, message, &cookie);
    sd_bus_flush(_bus);
    sd_bus_message_unref(message);
  }
  /// Waits until the server has authenticated this client.
  void ready() {
    sd_bus_call_method(_bus, nullptr, kPath, "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
                       "");
  }

  /// Returns the state of a notification name, or all ones without a reply.
  std::uint64_t notificationState(const char* name) {
    std::uint64_t state = ~0ULL;
    sd_bus_message* reply = nullptr;
    sd_bus_call_method(_bus, nullptr, kPath, "quorin.vorlane.Notifications1", "GetState", nullptr,
                       &reply, "s", name);
    if (reply) sd_bus_message_read_basic(reply, 't', &state);
    sd_bus_message_unref(reply);
    return state;
  }

  struct Event {
    std::string name;
    platform::Dictionary info;
  };
  /// Waits for the next event or log line. Returns nothing on a timeout.
  std::optional<Event> nextEvent() {
    while (_events.empty()) {
      const int processed = sd_bus_process(_bus, nullptr);
      if (processed < 0) return std::nullopt;
      if (processed == 0 && sd_bus_wait(_bus, 1000ULL * kPatienceMilliseconds) <= 0)
        return std::nullopt;
    }
    Event event = _events.front();
    _events.erase(_events.begin());
    return event;
  }
  sd_bus* bus() { return _bus; }

  static constexpr const char* kPath = "/quorin/tvvorlane/Receiver";

 private:
  static int _eventCame(sd_bus_message* message, void* self, sd_bus_error*) {
    Event event;
    box::ValueReader reader(message);
    if (reader.readString(event.name) && reader.readDictionary(event.info)) {
      static_cast<Client*>(self)->_events.push_back(std::move(event));
    }
    return 0;
  }
  static Answer _read(sd_bus_message* reply) {
    Answer answer;
    std::string_view signature(sd_bus_message_get_signature(reply, 1));
    box::ValueReader reader(reply);
    if (signature.starts_with("i")) {
      sd_bus_message_read_basic(reply, 'i', &answer.status);
      signature.remove_prefix(1);
    }
    if (signature == "av") reader.readValueOrNone(answer.value);
    if (signature == "a{sv}") reader.readDictionary(answer.out);
    if (signature == "ay") {
      const void* bytes = nullptr;
      sd_bus_message_read_array(reply, 'y', &bytes, &answer.dataSize);
    }
    return answer;
  }

  sd_bus* _bus = nullptr;
  std::vector<Event> _events;
};

}  // namespace testing_dbus
