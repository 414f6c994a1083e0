// The real program on private message buses, with an MPRIS client, logind and NetworkManager.

#include <span>

#include <stdlib.h>

#include "box/services/dbus/ValueWriter.h"
#include "tests/box/process/SystemFixture.h"
#include "tests/box/services/bus/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using platform::Dictionary;
using testing_system_integration::Child;
using testing_system_integration::outputOf;

/// The program with a private session bus and system bus.
class OnMessageBuses : public SystemTest {
 protected:
  OnMessageBuses() {
    EXPECT_TRUE(session.waitForOutput() && system.waitForOutput());
    setenv("DBUS_SESSION_BUS_ADDRESS", address("session").c_str(), 1);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address("system").c_str(), 1);
  }
  ~OnMessageBuses() override {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  }

  std::string address(const std::string& bus) const { return "unix:path=" + folder + "/" + bus; }
  static std::string playerctl(const std::string& arguments) {
    return outputOf("playerctl --player=tvvorlane " + arguments);
  }
  /// Polls the MPRIS client, which updates asynchronously.
  static void expectSoon(const std::string& arguments, const std::string& answer) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::string last;
    while ((last = playerctl(arguments)) != answer && std::chrono::steady_clock::now() < end) {
    }
    EXPECT_EQ(last, answer) << arguments;
  }

  const testing_support::TemporaryFolder _temporary;
  const std::string& folder = _temporary.path();
  const Child session{testing_system_integration::busDaemon(address("session"))};
  const Child system{testing_system_integration::busDaemon(address("system"))};
};

TEST_F(OnMessageBuses, StopsTheSenderBeforeTheDeviceSleeps) {
  const Child logind({"/usr/bin/python3", "-m", "dbusmock", "--template", "logind"},
                     address("system"));
  launch();
  ASSERT_EQ(peer->callWith("StartAudio", {{"sessionID", 3}}).status, 0);
  ASSERT_TRUE(logind.waitForOutput()) << "the inhibitor call";
  outputOf("busctl --address=" + address("system") +
           " call org.freedesktop.login1 /org/freedesktop/login1 org.freedesktop.DBus.Mock"
           " EmitSignal sssav org.freedesktop.login1.Manager PrepareForSleep b 1 b true");
  for (const char* event : {"stopAudio", "userStop"}) {
    EXPECT_EQ(nextEvent(event), (Dictionary{{"sessionID", 3}, {"userExit", true}})) << event;
  }
  EXPECT_TRUE(process->waitForLine("Unset vorlane-prevent-playback assertion."));
  EXPECT_EQ(process->output().find("timed out"), std::string::npos);
}

TEST_F(OnMessageBuses, ACaptivePortalIsNotInternet) {
  const std::string manager = " org.freedesktop.NetworkManager /org/freedesktop/NetworkManager ";
  const std::string bus = "busctl --address=" + address("system");
  const auto startManager = [&] {
    auto child =
        std::make_unique<Child>(std::vector<std::string>{"/usr/bin/python3", "-m", "dbusmock",
                                                         "--template", "networkmanager"},
                                address("system"));
    while (outputOf(bus + " get-property" + manager +
                    "org.freedesktop.NetworkManager Connectivity") != "u 4") {
    }
    return child;
  };
  const auto setConnectivity = [&](const char* connectivity) {
    EXPECT_EQ(outputOf(bus + " call" + manager +
                       "org.freedesktop.DBus.Mock UpdateProperties 'sa{sv}'"
                       " org.freedesktop.NetworkManager 1 Connectivity u " +
                       connectivity),
              "");
  };
  auto running = startManager();
  launch();
  constexpr const char* kPortal = "2";
  constexpr const char* kFull = "4";
  for (const bool again : {false, true}) {
    // A restarted manager is in its initial state.
    if (again) running.reset();
    std::size_t from = again ? mark() : 0;
    if (again) running = startManager();
    ASSERT_TRUE(process->waitForLine("The internet is available", from)) << process->output();
    from = mark();
    setConnectivity(kPortal);
    ASSERT_TRUE(process->waitForLine("The internet is not available", from)) << process->output();
  }
  const std::size_t from = mark();
  setConnectivity(kFull);
  EXPECT_TRUE(process->waitForLine("Vorlane set should use cloud:  YES", from));
}

TEST_F(OnMessageBuses, AnMprisClientControlsPlayback) {
  launch();
  Dictionary params{{"audioOnly", false}, {"rate", 0.0}};
  ASSERT_EQ(startVideo(clip(), 5, params).status, 0);
  ASSERT_TRUE(nextEvent("paused"));
  expectSoon("status", "Paused");
  playerctl("play");
  ASSERT_TRUE(nextEvent("playing"));
  expectSoon("status", "Playing");
  playerctl("play-pause");
  ASSERT_TRUE(nextEvent("paused"));
  playerctl("position 1.5");
  expectSoon("position", "1.500000");
  playerctl("next");
  EXPECT_TRUE(nextEvent("userNext"));
  playerctl("previous");
  EXPECT_TRUE(nextEvent("userPrevious"));

  const std::string_view picture = "\x89PNG";
  const auto bytes = std::as_bytes(std::span(picture));
  const auto setMetadata = [&](sd_bus_message* m) {
    sd_bus_message_append(m, "sav", "metaData", 0);
    sd_bus_message_open_container(m, 'v', "a{sv}");
    box::ValueWriter(m).appendDictionary(
        {{"title", "From the sender"},
         {"artworkData", platform::Bytes(bytes.begin(), bytes.end())}});
    sd_bus_message_close_container(m);
  };
  EXPECT_EQ(peer->call("SetProperty", setMetadata).status, 0);
  expectSoon("metadata title", "From the sender");
  const std::string file = playerctl("metadata mpris:artUrl").substr(sizeof("file://") - 1);
  EXPECT_EQ(std::filesystem::file_size(file), picture.size());

  EXPECT_EQ(stopVideo(5), 0);
  expectSoon("status", "No players found");
  EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
