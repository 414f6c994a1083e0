// The routes of a real sound server with sinks that play nowhere.

#include "box/sound/SoundRoutes.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace box {
namespace {

using platform::AudioRoute;
using namespace std::chrono_literals;

TEST(RoutesOfSinks, TellSpeakersAndTheBoxesOwnOutput) {
  const SoundSink hdmi{"hdmi", "", "", true, false};
  const SoundSink speaker{"kitchen", "", "3", false, true};
  const SoundSink remote{"tunnel.den", "", "", false, false};
  const struct {
    std::vector<SoundSink> sinks;
    std::string text;  // name, type, S selected, D default
  } cases[] = {{{}, ""},
               {{speaker}, "kitchen 3 S;"},
               {{speaker, remote, hdmi}, "kitchen 3 S;tunnel.den 3;hdmi 0 D;"},
               {{{"null", "", "", false, false}, hdmi}, "null 0;hdmi 0 D;"},
               {{{"null", "", "4", false, true}, speaker}, "null 0 SD;kitchen 3 S;"}};
  for (const auto& one : cases) {
    std::string text;
    for (const AudioRoute& route : routesOfSinks(one.sinks, {"tunnel.*", "x"})) {
      text += *route.identifier + " " + std::to_string(route.deviceType);
      text += route.selected || route.isDefault ? " " : "";
      text += route.selected ? "S" : "";
      text += route.isDefault ? "D" : "";
      text += ";";
    }
    EXPECT_EQ(text, one.text);
  }
}

class Process {
 public:
  explicit Process(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    EXPECT_EQ(posix_spawnp(&_process, pointers[0], nullptr, nullptr, pointers.data(), environ), 0);
  }
  ~Process() { end(SIGKILL); }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  void end(int signal) {
    if (_process <= 0) return;
    kill(_process, signal);
    waitpid(std::exchange(_process, -1), nullptr, 0);
  }

 private:
  pid_t _process = -1;
};

class SoundRoutesTest : public testing::Test {
 protected:
  SoundRoutesTest() {
    mainQueue.bindToCurrentThread();
    setenv("PULSE_SERVER", ("unix:" + (folder / "pulse/native").string()).c_str(), 1);
    setenv("PULSE_COOKIE", (folder / "cookie").c_str(), 1);
    setenv("PULSE_STATE_PATH", folder.c_str(), 1);
  }
  ~SoundRoutesTest() override {
    routes.stop();
    mainQueue.discard();
    for (const char* name : {"PULSE_SERVER", "PULSE_COOKIE", "PULSE_STATE_PATH"}) unsetenv(name);
    server.reset();
    std::filesystem::remove_all(folder);
  }

  static std::filesystem::path makeFolder() {
    char pattern[] = "/tmp/box-sound-XXXXXX";
    return mkdtemp(pattern);
  }
  void startServer() {
    std::filesystem::create_directory(folder / "pulse");
    server.emplace(std::vector<std::string>{
        "pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
        "--log-level=error", "--disable-shm=yes", "-L",
        "module-native-protocol-unix auth-anonymous=1 socket=" + (folder / "pulse/native").string(),
        "-L", "module-null-sink sink_name=tv", "-L",
        "module-null-sink sink_name=speaker sink_properties=vorlane.device-type=3"});
  }
  /// What pactl prints.
  static std::string control(const std::string& arguments) {
    std::string output;
    FILE* const pipe = popen(("pactl " + arguments).c_str(), "r");
    for (int character = 0; (character = fgetc(pipe)) != EOF;)
      output += static_cast<char>(character);
    pclose(pipe);
    return output;
  }
  template <typename Condition>
  [[nodiscard]] bool waitFor(const Condition& condition) {
    const auto end = clock.now() + 20s;
    while (!condition() && clock.now() < end) {
      if (!mainQueue.runDue()) mainQueue.waitForWork(end);
    }
    return condition();
  }
  std::vector<AudioRoute> fetch() {
    std::optional<std::vector<AudioRoute>> answer;
    const auto controller = routes.makeController(2);
    controller->fetchAvailableRoutes([&](std::vector<AudioRoute> all) { answer = std::move(all); });
    EXPECT_TRUE(waitFor([&] { return answer.has_value(); }));
    return answer.value_or(std::vector<AudioRoute>());
  }
  /// Asks again and again; each time the server answers what came before as well.
  [[nodiscard]] bool becomesSelected(std::string_view name) {
    for (const auto end = clock.now() + 20s; clock.now() < end;) {
      for (const AudioRoute& route : fetch())
        if (route.selected && route.identifier == name) return true;
    }
    return false;
  }

  const std::filesystem::path folder = makeFolder();
  platform::SystemClock clock;
  platform::MainQueue mainQueue{clock, std::make_shared<platform::ConditionWaiter>(clock)};
  platform::NotificationCenter center;
  std::optional<Process> server;
  int arrivals = 0;
  SoundRoutes routes{mainQueue, center, {.serverIsThere = [this] { ++arrivals; }}};
};

TEST_F(SoundRoutesTest, ComeWithTheServerGoAndComeBack) {
  routes.start();
  EXPECT_TRUE(fetch().empty()) << "nobody is there";
  for (int round = 1; round <= 2; ++round) {
    startServer();
    ASSERT_TRUE(waitFor([&] { return arrivals == round; }));
    const auto all = fetch();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].identifier, "tv");
    EXPECT_TRUE(all[0].isDefault);
    EXPECT_EQ(all[1].deviceType, 3);
    server->end(SIGKILL);
    while (!fetch().empty()) {
    }
  }
}

TEST_F(SoundRoutesTest, AreSelectedAndStreamsGoAlong) {
  startServer();
  routes.start();
  ASSERT_TRUE(waitFor([&] { return arrivals == 1; }));
  routes.makeController(2)->selectRoute({.identifier = "speaker"});
  EXPECT_TRUE(becomesSelected("speaker"));
  // The controller may go before it has happened.
  routes.makeController(2)->selectDefaultRoute();
  EXPECT_TRUE(becomesSelected("tv"));
  routes.makeController(2)->selectRoute({.identifier = "nowhere"});
  EXPECT_TRUE(becomesSelected("tv"));
}

TEST_F(SoundRoutesTest, AnOutputThatGoesInterruptsWhatPlaysThere) {
  std::vector<int> interruptions;
  const auto token = center.addObserver(
      platform::TVSAudioSessionInterruptionNotification, nullptr, [&](const auto& notification) {
        interruptions.push_back(
            notification.userInfo.number(platform::TVSAudioSessionInterruptionTypeKey)
                ->int32Value());
      });
  startServer();
  routes.start();
  ASSERT_TRUE(waitFor([&] { return arrivals == 1; }));
  // A stream of somebody else's, and one that counts as this process's.
  const auto stream = [](pid_t process) {
    return std::vector<std::string>{"pacat", "--device=tv",
                                    "--property=application.process.id=" + std::to_string(process),
                                    "/dev/zero"};
  };
  const Process other(stream(getppid()));
  const Process own(stream(getpid()));
  for (std::ptrdiff_t streams = 0; streams < 2;) {
    const std::string list = control("list short sink-inputs");
    streams = std::count(list.begin(), list.end(), '\n');
  }
  // Two questions and their answers later it is known whose they are.
  EXPECT_EQ(fetch().size(), 2U);
  EXPECT_EQ(fetch().size(), 2U);
  EXPECT_EQ(control("unload-module module-null-sink"), "");
  EXPECT_TRUE(waitFor([&] { return !interruptions.empty(); }));
  EXPECT_THAT(interruptions, testing::ElementsAre(1));
}

}  // namespace
}  // namespace box
