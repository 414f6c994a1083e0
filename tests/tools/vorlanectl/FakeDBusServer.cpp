#include "tests/tools/vorlanectl/FakeDBusServer.h"

#include <cstring>
#include <filesystem>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tools/vorlanectl/Command.h"

namespace {

constexpr const char* kPath = "/quorin/tvvorlane/Receiver";

}  // namespace

FakeDBusServer::FakeDBusServer() {
  _listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, _path.c_str(), sizeof address.sun_path - 1);
  EXPECT_EQ(::bind(_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  listen(_listener, 1);
}

FakeDBusServer::~FakeDBusServer() { close(_listener); }

int FakeDBusServer::run(std::vector<std::string> words) {
  _calls.clear();
  std::thread server([this] { _serve(); });
  words.insert(words.begin(), {"--socket", _path});
  const int result = vorlanectl::runCommandLine(words);
  // Ends the server's accept() if the command has never connected.
  shutdown(_listener, SHUT_RDWR);
  server.join();
  return result;
}

void FakeDBusServer::_serve() {
  const int connection = accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (connection < 0) return;
  sd_bus* bus = nullptr;
  sd_id128_t id;
  sd_id128_randomize(&id);
  sd_bus_new(&bus);
  sd_bus_set_server(bus, 1, id);
  sd_bus_set_fd(bus, connection, connection);
  sd_bus_add_filter(bus, nullptr, _called, this);
  sd_bus_start(bus);
  for (;;) {
    const int processed = sd_bus_process(bus, nullptr);
    if (processed < 0) break;
    _send(bus, std::exchange(_pending, {}));
    if (processed == 0 && sd_bus_wait(bus, UINT64_MAX) < 0) break;
  }
  sd_bus_close_unref(bus);
}

int FakeDBusServer::_called(sd_bus_message* call, void* self, sd_bus_error*) {
  auto& server = *static_cast<FakeDBusServer*>(self);
  const char* const member = sd_bus_message_get_member(call);
  if (!member || sd_bus_message_is_method_call(call, nullptr, nullptr) <= 0) return 0;
  if (std::strcmp(member, "Ping") == 0) {
    server._pending = server.signalsAtOnce;
    return 0;  // sd-bus answers it
  }
  std::string line = member;
  while (sd_bus_message_at_end(call, 0) == 0) line += " " + vorlanectl::readValue(call).dump();
  server._calls.push_back(line);
  server._answer(call, member);
  if (const auto found = server.signalsAfter.find(member); found != server.signalsAfter.end())
    server._pending = found->second;
  return 1;
}

void FakeDBusServer::_answer(sd_bus_message* call, const std::string& member) {
  sd_bus_message* reply = nullptr;
  sd_bus_message_new_method_return(call, &reply);
  if (member != "Status") sd_bus_message_append_basic(reply, 'i', &status);
  if (member == "Status") vorlanectl::appendDictionary(reply, state);
  if (member == "GetProperty")
    vorlanectl::appendValueOrNone(reply, value.is_null() ? nullptr : &value);
  if (member == "Perform") vorlanectl::appendDictionary(reply, out);
  if (member.starts_with("Start")) vorlanectl::appendDictionary(reply, Json::object());
  sd_bus_send(nullptr, reply, nullptr);
  sd_bus_message_unref(reply);
}

void FakeDBusServer::_send(sd_bus* bus, const std::vector<Signal>& signals) {
  for (const Signal& signal : signals) {
    const std::string_view owner =
        signal.interface == "Notifications1" ? "quorin.vorlane." : "quorin.tvvorlane.";
    sd_bus_message* message = nullptr;
    sd_bus_message_new_signal(bus, &message, kPath, (std::string(owner) + signal.interface).c_str(),
                              signal.member.c_str());
    sd_bus_message_append_basic(message, 's', signal.name.c_str());
    if (!signal.info.is_null()) vorlanectl::appendDictionary(message, signal.info);
    sd_bus_send(bus, message, nullptr);
    sd_bus_message_unref(message);
  }
}
