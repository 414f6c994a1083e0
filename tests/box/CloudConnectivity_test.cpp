#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "TVVorlane/TVVorlaneAppDelegate.h"
#include "TVVorlane/TVVorlaneMediaViewController.h"
#include "box/Box.h"
#include "tests/box/ChildProcess.h"

namespace {

constexpr const char* kPath = "/quorin/tvvorlane/Receiver";
constexpr const char* kNotifications = "quorin.vorlane.Notifications1";
constexpr const char* kName = "quorin.vorlane.cloudConnectivity";
constexpr std::uint64_t kPatience = 20'000'000;

/// What the process's network is to be: the test writes '1' or '0' into it.
int networkPipe[2];

/// Tells on a thread of its own what comes out of the pipe.
class PipeWatch final : public box::NetworkWatch {
 public:
  ~PipeWatch() override { stop(); }
  void start(std::function<void(bool)> tell) override {
    _thread = std::thread([tell = std::move(tell)] {
      char answer = 0;
      while (read(networkPipe[0], &answer, 1) == 1 && answer != 'e') tell(answer == '1');
    });
  }
  void stop() override {
    if (!_thread.joinable()) return;
    static_cast<void>(!write(networkPipe[1], "e", 1));
    _thread.join();
  }

 private:
  std::thread _thread;
};

std::unique_ptr<platform::RunnablePlatform> boxOnThePipe(int count, char** words, int*) {
  std::string error;
  const std::vector<std::string_view> arguments(words + 1, words + count);
  return std::make_unique<box::Box>(*box::parseOptions(arguments, &error),
                                    platform::SystemClock().now(), std::make_unique<PipeWatch>());
}

platform::Application application() {
  return {std::make_shared<TVVorlaneAppDelegate>(),
          [] { return std::make_shared<TVVorlaneMediaViewController>(); }};
}

/// Another process that wants to know.
class Asker {
 public:
  explicit Asker(const std::string& socket) {
    sd_bus_new(&_bus);
    sd_bus_set_address(_bus, ("unix:path=" + socket).c_str());
    sd_bus_set_bus_client(_bus, 0);
    sd_bus_start(_bus);
    sd_bus_match_signal(_bus, nullptr, nullptr, kPath, kNotifications, "Posted", _heard, this);
    sd_bus_call_method(_bus, nullptr, kPath, "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
                       "");
  }
  ~Asker() { sd_bus_close_unref(_bus); }
  Asker(const Asker&) = delete;
  Asker& operator=(const Asker&) = delete;

  /// The name of the next notification; nothing when none comes.
  std::string nextPost() {
    while (_posts.empty()) {
      const int processed = sd_bus_process(_bus, nullptr);
      if (processed < 0 || (processed == 0 && sd_bus_wait(_bus, kPatience) <= 0)) return "";
    }
    const std::string post = _posts.front();
    _posts.erase(_posts.begin());
    return post;
  }
  std::uint64_t state() {
    std::uint64_t state = 99;
    sd_bus_message* reply = nullptr;
    sd_bus_call_method(_bus, nullptr, kPath, kNotifications, "GetState", nullptr, &reply, "s",
                       kName);
    if (reply) sd_bus_message_read_basic(reply, 't', &state);
    sd_bus_message_unref(reply);
    return state;
  }

 private:
  static int _heard(sd_bus_message* message, void* self, sd_bus_error*) {
    const char* name = "";
    sd_bus_message_read_basic(message, 's', &name);
    static_cast<Asker*>(self)->_posts.emplace_back(name);
    return 0;
  }

  sd_bus* _bus = nullptr;
  std::vector<std::string> _posts;
};

TEST(CloudConnectivity, FollowsTheNetwork) {
  ASSERT_EQ(pipe(networkPipe), 0);
  ChildProcess process(application, {}, boxOnThePipe);
  ASSERT_TRUE(process.waitForLine("is open")) << process.output();
  {
    Asker asker(process.socketPath());
    EXPECT_EQ(asker.state(), 0U);
    for (const char* const network : {"1", "0", "1"}) {
      ASSERT_EQ(write(networkPipe[1], network, 1), 1);
      EXPECT_EQ(asker.nextPost(), kName);
      EXPECT_EQ(asker.state(), *network == '1' ? 1U : 0U);
    }
  }
  process.send(SIGTERM);
  EXPECT_EQ(process.waitForEnd(), 0) << process.output();
  EXPECT_THAT(process.output(), testing::HasSubstr("Vorlane set should use cloud:  NO"));
  close(networkPipe[0]);
  close(networkPipe[1]);
}

}  // namespace
