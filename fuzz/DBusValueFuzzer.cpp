// Arguments of calls on the receiver socket.

#include <memory>
#include <string>
#include <string_view>

#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "box/services/dbus/Refusals.h"
#include "box/services/dbus/ValueReader.h"
#include "box/services/dbus/ValueWriter.h"
#include "fuzz/support/DBusBody.h"
#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/RandomValue.h"

namespace fuzz {
namespace {

/// The first byte of an input selects one of these; the rest is the body of the message.
constexpr std::string_view kSignatures[] = {"a{sv}", "av", "v", "sa{sv}", "d"};

/// A value that was read can be written, and reads as the same value.
void checkRoundTrip(sd_bus_message* call, const platform::Dictionary& dictionary) {
  sd_bus_message* copy = nullptr;
  if (sd_bus_message_new(sd_bus_message_get_bus(call), &copy, SD_BUS_MESSAGE_METHOD_CALL) < 0)
    return;
  box::ValueWriter writer(copy);
  writer.appendDictionary(dictionary);
  require(writer.error() == 0, "a dictionary that was read can be written");
  require(sd_bus_message_seal(copy, 1, 0) >= 0, "a written message can be sealed");
  platform::Dictionary result;
  require(box::ValueReader(copy).readDictionary(result), "a written dictionary can be read");
  require(result.description() == dictionary.description(), "writing keeps the values");
  sd_bus_message_unref(copy);
}

int readArguments(sd_bus_message* call, void*, sd_bus_error*) {
  box::ValueReader reader(call);
  const std::string_view signature = sd_bus_message_get_signature(call, 1);
  std::string text;
  platform::Value value;
  platform::Dictionary dictionary;
  double number = 0;
  if (signature == "a{sv}" && reader.readDictionary(dictionary)) {
    box::refusalOfStartVideo(dictionary);
    checkRoundTrip(call, dictionary);
  } else if (signature == "sa{sv}" && reader.readString(text) &&
             reader.readDictionary(dictionary)) {
    box::refusalOfAction(text, dictionary, [](const auto&, const auto&) { return true; });
  } else if (signature == "av") {
    reader.readValueOrNone(value);
  } else if (signature == "v") {
    reader.readVariant(value);
  } else if (signature == "d") {
    reader.readDouble(number);
  }
  static_cast<void>(value.description());
  return 1;
}

/// A connection with a peer that has authenticated itself.
class ServedPeer {
 public:
  ServedPeer() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0)
      failTarget("socketpair() works");
    _peer = ends[0];
    sd_id128_t identifier{};
    identifier.bytes[0] = 1;
    require(sd_bus_new(&_bus) >= 0 && sd_bus_set_fd(_bus, ends[1], ends[1]) >= 0 &&
                sd_bus_set_server(_bus, 1, identifier) >= 0 && sd_bus_set_anonymous(_bus, 1) >= 0 &&
                sd_bus_add_filter(_bus, nullptr, &readArguments, nullptr) >= 0 &&
                sd_bus_start(_bus) >= 0,
            "sd-bus serves a socket");
    send(std::string_view("\0AUTH ANONYMOUS\r\nBEGIN\r\n", 24));
  }
  ~ServedPeer() {
    sd_bus_close(_bus);
    sd_bus_unref(_bus);
    close(_peer);
  }
  ServedPeer(const ServedPeer&) = delete;
  ServedPeer& operator=(const ServedPeer&) = delete;

  /// Returns false if sd-bus has ended the connection.
  bool send(std::string_view bytes) {
    if (::send(_peer, bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(bytes.size()))
      return false;
    int result = 0;
    while ((result = sd_bus_process(_bus, nullptr)) > 0) {
    }
    char replies[4096];
    while (recv(_peer, replies, sizeof replies, 0) > 0) {
    }
    return result == 0 && sd_bus_is_open(_bus) > 0;
  }

 private:
  sd_bus* _bus = nullptr;
  int _peer = -1;
};

void readDBusArguments(Bytes input) {
  // Kept between inputs, because authentication takes longer than reading a message.
  static std::unique_ptr<ServedPeer> peer;
  const std::string_view signature = kSignatures[takeByte(input) % std::size(kSignatures)];
  if (!peer) peer = std::make_unique<ServedPeer>();
  if (!peer->send(dbusCall(signature, textOf(input)))) peer.reset();
}

void mutateDBusArguments(std::string& input, Random& random) {
  DBusBody body;
  const std::size_t kind = random.below(std::size(kSignatures));
  if (kSignatures[kind] == "sa{sv}") body.putString(randomText(random));
  if (kSignatures[kind].ends_with("a{sv}"))
    body.putDictionary(randomDictionary(random));
  else if (kSignatures[kind] == "av")
    body.putArray(randomArray(random));
  else
    body.putVariant(randomValue(random));
  input = static_cast<char>(kind) + body.bytes();
}

const Registration dbusValue(
    {"DBusValue", &readDBusArguments, {.heap = {8 << 20, 400}}, &mutateDBusArguments});

}  // namespace
}  // namespace fuzz
